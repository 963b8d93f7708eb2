#include "Utility/Base64.h"

#include <algorithm>
#include <array>

namespace qsn {
namespace {

constexpr char kAlphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
constexpr std::size_t kLineLength = 76;
constexpr std::size_t kLineBytes = kLineLength / 4 * 3;

constexpr std::array<std::int8_t, 256> MakeValues() {
    std::array<std::int8_t, 256> values{};
    values.fill(-1);
    for (int i = 0; i < 64; ++i) values[static_cast<unsigned char>(kAlphabet[i])] = static_cast<std::int8_t>(i);
    return values;
}
constexpr std::array<std::int8_t, 256> kValues = MakeValues();

std::size_t EncodedLength(std::size_t byteCount) {
    const std::size_t breaks = byteCount == 0 ? 0 : (byteCount - 1) / kLineBytes;
    return (byteCount + 2) / 3 * 4 + 2 * breaks;
}

// One to three bytes as four characters.
char* EncodeGroup(std::span<const std::uint8_t> group, char* text) {
    std::uint32_t bits = 0;
    for (std::size_t i = 0; i < 3; ++i) bits = bits << 8 | (i < group.size() ? group[i] : 0u);
    for (std::size_t i = 0; i < 4; ++i) *text++ = i <= group.size() ? kAlphabet[bits >> (18 - 6 * i) & 0x3F] : '=';
    return text;
}

}  // namespace

int Base64EncodeLines(std::span<const std::uint8_t> bytes, char* text, std::uint32_t* capacity) {
    const std::size_t needed = EncodedLength(bytes.size());
    if (!text || !capacity || *capacity < needed) return 0;
    for (std::size_t i = 0; i < bytes.size(); i += 3) {
        if (i != 0 && i % kLineBytes == 0) {
            *text++ = '\r';
            *text++ = '\n';
        }
        text = EncodeGroup(bytes.subspan(i, std::min<std::size_t>(3, bytes.size() - i)), text);
    }
    *capacity = static_cast<std::uint32_t>(needed);
    return 1;
}

int Base64DecodeLines(std::string_view text, std::uint8_t* bytes, std::uint32_t* capacity) {
    if (!capacity) return 0;
    const std::size_t room = bytes ? *capacity : 0;
    std::size_t length = 0;
    std::uint32_t bits = 0;
    unsigned bitCount = 0;
    for (const char c : text.substr(0, text.find('\0'))) {
        const std::int8_t value = kValues[static_cast<unsigned char>(c)];
        if (value < 0) continue;
        bits = bits << 6 | static_cast<std::uint32_t>(value);
        bitCount += 6;
        if (bitCount < 8) continue;
        bitCount -= 8;
        if (length < room) bytes[length] = static_cast<std::uint8_t>(bits >> bitCount);
        ++length;
    }
    *capacity = static_cast<std::uint32_t>(length);
    return length <= room ? 1 : 0;
}

}  // namespace qsn
