#pragma once

#include <zlib.h>

#include <string>
#include <string_view>

namespace qsn {

// Undoes a reply body's encoding, piece by piece. This is not left to libcurl, which takes a body whose encoding ends
// too early for a complete one.
class BodyDecoder {
public:
    enum class Encoding { kNone, kCompressed, kUnknown };

    // The encoding that a "Content-Encoding" value names: gzip, deflate or none.
    static Encoding EncodingOf(std::string_view value);

    BodyDecoder() = default;
    ~BodyDecoder();
    BodyDecoder(const BodyDecoder&) = delete;
    BodyDecoder& operator=(const BodyDecoder&) = delete;

    // For the bytes that follow. False: this encoding is not undone here.
    bool Begin(Encoding encoding) noexcept;
    // Calls `take` with the decoded pieces, as long as it returns true. False: the encoding is broken, `take` wants no
    // more, or there is no memory.
    template <class Take>
    bool Decode(std::string_view encoded, Take&& take);
    // True if the encoding has come to its end.
    bool IsComplete() const noexcept { return !m_isCompressed || m_hasEnded; }

private:
    static constexpr std::size_t kPiece = 16384;

    bool Start(std::string_view encoded) noexcept;
    // Puts the next decoded bytes, at most kPiece, into `piece`. False if the encoding is broken.
    bool Inflate(char* piece, std::size_t* size) noexcept;

    z_stream m_stream{};
    bool m_isCompressed = false;
    bool m_isOpen = false;
    bool m_hasEnded = false;
};

template <class Take>
bool BodyDecoder::Decode(std::string_view encoded, Take&& take) {
    if (!m_isCompressed) return take(encoded);
    if (encoded.empty()) return true;
    if (!m_isOpen && !Start(encoded)) return false;
    m_stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(encoded.data()));
    m_stream.avail_in = static_cast<uInt>(encoded.size());
    std::string piece(kPiece, '\0');
    std::size_t size = 0;
    do {
        if (!Inflate(piece.data(), &size)) return false;
        if (size > 0 && !take(std::string_view(piece).substr(0, size))) return false;
    } while (m_stream.avail_in > 0 || (size == kPiece && !m_hasEnded));
    return true;
}

}  // namespace qsn
