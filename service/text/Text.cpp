#include "service/text/Text.h"

#include <algorithm>

namespace qsn::service {
namespace {

constexpr std::string_view kHexDigits = "0123456789abcdef";

char LowerCaseLetter(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }
char UpperCaseLetter(char c) { return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c; }

std::string DecodeQueryValue(std::string_view text) {
    std::string result;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const auto byte = text[i] == '%' ? FromHex(LowerCase(text.substr(i + 1, 2))) : std::nullopt;
        if (byte && byte->size() == 1) {
            result += static_cast<char>(byte->front());
            i += 2;
        } else {
            result += text[i] == '+' ? ' ' : text[i];
        }
    }
    return result;
}

}  // namespace

std::string LowerCase(std::string_view text) {
    std::string result(text);
    std::transform(result.begin(), result.end(), result.begin(), LowerCaseLetter);
    return result;
}

std::string UpperCase(std::string_view text) {
    std::string result(text);
    std::transform(result.begin(), result.end(), result.begin(), UpperCaseLetter);
    return result;
}

bool EqualIgnoringCase(std::string_view a, std::string_view b) {
    return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                      [](char x, char y) { return LowerCaseLetter(x) == LowerCaseLetter(y); });
}

std::string ToHex(std::span<const std::uint8_t> bytes) {
    std::string text;
    text.reserve(bytes.size() * 2);
    for (const std::uint8_t byte : bytes) {
        text += kHexDigits[byte >> 4];
        text += kHexDigits[byte & 15];
    }
    return text;
}

std::optional<Bytes> FromHex(std::string_view text) {
    if (text.size() % 2 != 0) return std::nullopt;
    Bytes bytes;
    bytes.reserve(text.size() / 2);
    for (std::size_t i = 0; i < text.size(); i += 2) {
        const auto high = kHexDigits.find(text[i]);
        const auto low = kHexDigits.find(text[i + 1]);
        if (high == kHexDigits.npos || low == kHexDigits.npos) return std::nullopt;
        bytes.push_back(static_cast<std::uint8_t>(high << 4 | low));
    }
    return bytes;
}

std::string EscapeHtml(std::string_view text) {
    std::string result;
    for (const char c : text) {
        switch (c) {
            case '&': result += "&amp;"; break;
            case '<': result += "&lt;"; break;
            case '>': result += "&gt;"; break;
            case '"': result += "&quot;"; break;
            case '\'': result += "&#39;"; break;
            default: result += c;
        }
    }
    return result;
}

std::string EncodeQueryValue(std::string_view text) {
    constexpr std::string_view kUnreserved = "-._~";
    std::string result;
    for (const char c : text) {
        const char letter = LowerCaseLetter(c);
        if ((letter >= 'a' && letter <= 'z') || (c >= '0' && c <= '9') || kUnreserved.find(c) != kUnreserved.npos) {
            result += c;
        } else {
            const auto byte = static_cast<std::uint8_t>(c);
            result.append({'%', kHexDigits[byte >> 4], kHexDigits[byte & 15]});
        }
    }
    return result;
}

std::optional<std::string> FormValue(std::string_view form, std::string_view name) {
    while (!form.empty()) {
        const std::string_view pair = form.substr(0, form.find('&'));
        const auto equals = pair.find('=');
        if (equals != pair.npos && pair.substr(0, equals) == name) return DecodeQueryValue(pair.substr(equals + 1));
        form.remove_prefix(std::min(pair.size() + 1, form.size()));
    }
    return std::nullopt;
}

std::optional<std::string> QueryValue(std::string_view target, std::string_view name) {
    const auto start = target.find('?');
    return start == target.npos ? std::nullopt : FormValue(target.substr(start + 1), name);
}

}  // namespace qsn::service
