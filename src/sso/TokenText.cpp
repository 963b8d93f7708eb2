#include "sso/TokenText.h"

#include <algorithm>

#include "Utility/Base64.h"

namespace qsn {

std::optional<std::string> EncodeTokenText(std::span<const std::uint8_t> bytes, std::uint32_t capacity) {
    std::string text(capacity, '\0');
    std::uint32_t length = capacity;
    if (!Base64EncodeLines(bytes, text.data(), &length)) return std::nullopt;
    text.resize(length);
    return text;
}

std::vector<std::uint8_t> DecodeTokenText(std::string_view text, std::uint32_t capacity) {
    std::vector<std::uint8_t> bytes(capacity);
    std::uint32_t length = capacity;
    Base64DecodeLines(text, bytes.data(), &length);
    bytes.resize(std::min(length, capacity));
    return bytes;
}

std::string_view TokenIn(std::span<const std::uint8_t> bytes, std::size_t bufferSize) {
    const std::string_view text(reinterpret_cast<const char*>(bytes.data()), bytes.size());
    return text.substr(0, std::min(text.find('\0'), bufferSize - 1));
}

}  // namespace qsn
