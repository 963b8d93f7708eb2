#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "protocol/BodyDecoder.h"

namespace qsn {

struct SignedReply {
    std::string body;
    std::string token;   // "X-token", empty if the reply has none
    std::string digest;  // "X-digest", likewise
};

// Takes a reply as libcurl hands it out: line by line, then in pieces of the decoded body. Status 200 is the only
// success. Knows no system calls.
class ReplyReader {
public:
    static constexpr std::size_t kMaxHead = std::size_t{256} << 10;
    static constexpr std::size_t kMaxBody = std::size_t{256} << 20;

    explicit ReplyReader(SignedReply& reply) : m_reply(reply) {}

    // False: nothing more of this reply is wanted, or it is broken. May throw std::bad_alloc.
    bool TakeHeaderLine(std::string_view line);
    bool TakeBody(std::string_view piece);

    // True if the whole reply has arrived.
    bool IsComplete() const noexcept { return m_status == kOk && m_decoder.IsComplete(); }
    // The status of the last complete head, 0 before that.
    int Status() const noexcept { return m_status; }

private:
    static constexpr int kOk = 200;

    void TakeStatusLine(std::string_view line);
    void TakeField(std::string_view line);

    bool Keep(std::string_view piece);

    SignedReply& m_reply;
    BodyDecoder m_decoder;
    BodyDecoder::Encoding m_encoding = BodyDecoder::Encoding::kNone;
    int m_announced = 0;  // the status of the head that is being read
    int m_status = 0;
    std::size_t m_headSize = 0;
    std::size_t m_encodedSize = 0;
    std::size_t m_bodySize = 0;
};

}  // namespace qsn
