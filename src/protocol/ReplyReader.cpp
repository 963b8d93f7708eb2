#include "protocol/ReplyReader.h"

#include <algorithm>
#include <charconv>

namespace qsn {
namespace {

constexpr int kContinues = 100;  // to 199: another head follows
constexpr int kFinal = 200;      // and above
constexpr std::size_t kMaxFieldValue = 1023;

char Lower(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }

bool EqualIgnoringCase(std::string_view a, std::string_view b) { return std::ranges::equal(a, b, {}, Lower, Lower); }

std::string_view Trimmed(std::string_view text) {
    constexpr std::string_view kBlanks = " \t\r\n";
    const std::size_t first = text.find_first_not_of(kBlanks);
    if (first == std::string_view::npos) return {};
    return text.substr(first, text.find_last_not_of(kBlanks) - first + 1);
}

}  // namespace

bool ReplyReader::TakeHeaderLine(std::string_view line) {
    // What comes behind the body says nothing about it.
    if (m_status == kOk) return true;
    m_headSize += line.size();
    if (m_headSize > kMaxHead) return false;
    if (line.starts_with("HTTP/")) {
        TakeStatusLine(line);
    } else if (!Trimmed(line).empty()) {
        TakeField(line);
    } else if (m_announced >= kFinal) {
        m_status = m_announced;
        return m_status == kOk && m_decoder.Begin(m_encoding);
    }
    return true;
}

void ReplyReader::TakeStatusLine(std::string_view line) {
    m_reply.token.clear();
    m_reply.digest.clear();
    m_encoding = BodyDecoder::Encoding::kNone;
    m_announced = kContinues;
    const std::string_view code = Trimmed(line.substr(std::min(line.find(' '), line.size())));
    std::from_chars(code.data(), code.data() + code.size(), m_announced);
}

void ReplyReader::TakeField(std::string_view line) {
    const std::size_t colon = line.find(':');
    if (colon == std::string_view::npos) return;
    const std::string_view name = line.substr(0, colon);
    const std::string_view value = Trimmed(line.substr(colon + 1));
    if (value.size() > kMaxFieldValue) return;
    // The first of several counts.
    if (m_reply.token.empty() && EqualIgnoringCase(name, "X-token")) m_reply.token = value;
    if (EqualIgnoringCase(name, "Content-Encoding")) m_encoding = BodyDecoder::EncodingOf(value);
    if (m_reply.digest.empty() && EqualIgnoringCase(name, "X-digest")) m_reply.digest = value;
}

bool ReplyReader::TakeBody(std::string_view piece) {
    // An encoding may go on for ever and not stand for a single byte.
    m_encodedSize += piece.size();
    if (m_encodedSize > kMaxBody) return false;
    return m_decoder.Decode(piece, [this](std::string_view decoded) { return Keep(decoded); });
}

bool ReplyReader::Keep(std::string_view piece) {
    m_bodySize += piece.size();
    if (m_bodySize > kMaxBody) return false;
    // The body is a text: a NUL cuts off the piece that it arrived in.
    m_reply.body.append(piece.substr(0, piece.find('\0')));
    return true;
}

}  // namespace qsn
