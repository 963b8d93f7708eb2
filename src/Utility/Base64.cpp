#include "Utility/Base64.h"

#include <algorithm>
#include <array>
#include <cstring>

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

// Twelve bits at a time. That halves the look-ups, which are what encoding costs.
using Digits = std::array<char, 2>;
constexpr std::array<Digits, 4096> MakePairs() {
    std::array<Digits, 4096> pairs{};
    for (unsigned i = 0; i < pairs.size(); ++i) pairs[i] = {kAlphabet[i >> 6], kAlphabet[i & 0x3F]};
    return pairs;
}
constexpr std::array<Digits, 4096> kPairs = MakePairs();

std::size_t EncodedLength(std::size_t byteCount) {
    const std::size_t breaks = byteCount == 0 ? 0 : (byteCount - 1) / kLineBytes;
    return (byteCount + 2) / 3 * 4 + 2 * breaks;
}

// Three bytes as four characters.
void EncodeGroup(const std::uint8_t* group, char* text) {
    const std::uint32_t bits = std::uint32_t{group[0]} << 16 | std::uint32_t{group[1]} << 8 | group[2];
    std::memcpy(text, &kPairs[bits >> 12], sizeof(Digits));
    std::memcpy(text + sizeof(Digits), &kPairs[bits & 0xFFF], sizeof(Digits));
}

// Encodes a line or the rest of one.
char* EncodeLine(std::span<const std::uint8_t> bytes, char* text) {
    const auto rest = bytes.last(bytes.size() % 3);
// Without it the time varies by half, depending on where the linker puts the loop.
#pragma GCC unroll 4
    for (const std::uint8_t* group = bytes.data(); group != rest.data(); group += 3, text += 4)
        EncodeGroup(group, text);
    if (rest.empty()) return text;
    std::uint8_t padded[3] = {};
    std::ranges::copy(rest, padded);
    EncodeGroup(padded, text);
    text += 4;
    std::fill(text - (3 - rest.size()), text, '=');
    return text;
}

}  // namespace

int Base64EncodeLines(std::span<const std::uint8_t> bytes, char* text, std::uint32_t* capacity) {
    const std::size_t needed = EncodedLength(bytes.size());
    if (!text || !capacity || *capacity < needed) return 0;
    for (std::size_t i = 0; i < bytes.size(); i += kLineBytes) {
        if (i != 0) {
            *text++ = '\r';
            *text++ = '\n';
        }
        text = EncodeLine(bytes.subspan(i, std::min(kLineBytes, bytes.size() - i)), text);
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
