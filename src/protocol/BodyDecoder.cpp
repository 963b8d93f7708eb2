#include "protocol/BodyDecoder.h"

#include <algorithm>
#include <array>

namespace qsn {
namespace {

struct Row {
    std::string_view value;
    BodyDecoder::Encoding encoding;
};
constexpr std::array kEncodings{
    Row{"", BodyDecoder::Encoding::kNone},
    Row{"identity", BodyDecoder::Encoding::kNone},
    Row{"gzip", BodyDecoder::Encoding::kCompressed},
    Row{"x-gzip", BodyDecoder::Encoding::kCompressed},
    Row{"deflate", BodyDecoder::Encoding::kCompressed},
};

constexpr int kAnyFrame = 15 + 32;  // gzip's or zlib's, as the first bytes say
constexpr int kNoFrame = -15;

// Some services send "deflate" without its frame. Such data starts like neither frame.
bool HasFrame(std::string_view encoded) {
    const auto first = static_cast<unsigned char>(encoded[0]);
    return first == 0x1f || (first & 0x0f) == Z_DEFLATED;
}

}  // namespace

BodyDecoder::Encoding BodyDecoder::EncodingOf(std::string_view value) {
    const auto isSame = [value](const Row& row) {
        return std::ranges::equal(row.value, value, [](char known, char given) {
            return known == (given >= 'A' && given <= 'Z' ? given - 'A' + 'a' : given);
        });
    };
    const auto row = std::ranges::find_if(kEncodings, isSame);
    return row == kEncodings.end() ? Encoding::kUnknown : row->encoding;
}

BodyDecoder::~BodyDecoder() {
    if (m_isOpen) inflateEnd(&m_stream);
}

bool BodyDecoder::Begin(Encoding encoding) noexcept {
    m_isCompressed = encoding == Encoding::kCompressed;
    return encoding != Encoding::kUnknown;
}

bool BodyDecoder::Start(std::string_view encoded) noexcept {
    m_isOpen = inflateInit2(&m_stream, HasFrame(encoded) ? kAnyFrame : kNoFrame) == Z_OK;
    return m_isOpen;
}

bool BodyDecoder::Inflate(char* piece, std::size_t* size) noexcept {
    *size = 0;
    if (m_hasEnded) {
        // Another member of a gzip body, or rubbish.
        if (inflateReset(&m_stream) != Z_OK) return false;
        m_hasEnded = false;
    }
    m_stream.next_out = reinterpret_cast<Bytef*>(piece);
    m_stream.avail_out = kPiece;
    const int result = inflate(&m_stream, Z_NO_FLUSH);
    *size = kPiece - m_stream.avail_out;
    m_hasEnded = result == Z_STREAM_END;
    // Z_BUF_ERROR: there was nothing to do, because the last piece had just the room that was left.
    return result == Z_OK || result == Z_STREAM_END || result == Z_BUF_ERROR;
}

}  // namespace qsn
