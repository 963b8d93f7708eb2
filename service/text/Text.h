#pragma once

#include <charconv>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace qsn::service {

using Bytes = std::vector<std::uint8_t>;

// ASCII only, whatever the locale.
std::string LowerCase(std::string_view text);
std::string UpperCase(std::string_view text);
bool EqualIgnoringCase(std::string_view a, std::string_view b);

// Of a decimal number and nothing else.
template <typename Number>
std::optional<Number> NumberIn(std::string_view text) {
    Number number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    return error == std::errc() && end == text.data() + text.size() ? std::optional(number) : std::nullopt;
}

std::string ToHex(std::span<const std::uint8_t> bytes);
// Lower-case digits in pairs, nothing else.
std::optional<Bytes> FromHex(std::string_view text);

// For text and for attribute values in quotes.
std::string EscapeHtml(std::string_view text);
// All but unreserved characters as %XX.
std::string EncodeQueryValue(std::string_view text);
// The value of `name` in the body of a submitted form, with %XX and '+' decoded; nothing if it is not there. A
// malformed escape stays as it is.
std::optional<std::string> FormValue(std::string_view form, std::string_view name);
// The same in a request target's query.
std::optional<std::string> QueryValue(std::string_view target, std::string_view name);

}  // namespace qsn::service
