#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace qsn {

// The form of tokens in the registry. Nothing if the encoded text would be longer than `capacity`.
std::optional<std::string> EncodeTokenText(std::span<const std::uint8_t> bytes, std::uint32_t capacity);

// The bytes that a text of that form stands for. Those beyond `capacity` are cut off. Every text stands for some bytes.
std::vector<std::uint8_t> DecodeTokenText(std::string_view text, std::uint32_t capacity);

// A token is a text. It ends at its first NUL and, as read, before the end of a buffer of `bufferSize` bytes.
std::string_view TokenIn(std::span<const std::uint8_t> bytes, std::size_t bufferSize);

}  // namespace qsn
