#include "service/crypto/Base64.h"

#include <openssl/evp.h>

#include <algorithm>

namespace qsn::service {
namespace {

constexpr std::string_view kAlphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
constexpr std::size_t kMostPadding = 2;

const unsigned char* DataOf(std::string_view text) { return reinterpret_cast<const unsigned char*>(text.data()); }

}  // namespace

std::string ToBase64(std::span<const std::uint8_t> bytes) {
    // The encoder ends its text with a NUL.
    std::string text((bytes.size() + 2) / 3 * 4 + 1, '\0');
    EVP_EncodeBlock(reinterpret_cast<unsigned char*>(text.data()), bytes.data(), static_cast<int>(bytes.size()));
    text.pop_back();
    return text;
}

std::string ToBase64(std::string_view bytes) { return ToBase64(std::span(DataOf(bytes), bytes.size())); }

std::optional<Bytes> FromBase64(std::string_view text) {
    // OpenSSL's decoder skips blanks and counts the padding as bytes.
    const std::size_t digits = std::min(text.find_first_not_of(kAlphabet), text.size());
    const std::string_view padding = text.substr(digits);
    if (text.size() % 4 != 0 || padding.size() > kMostPadding || padding.find_first_not_of('=') != padding.npos) {
        return std::nullopt;
    }
    Bytes bytes(text.size() / 4 * 3);
    if (EVP_DecodeBlock(bytes.data(), DataOf(text), static_cast<int>(text.size())) < 0) return std::nullopt;
    bytes.resize(bytes.size() - padding.size());
    return bytes;
}

}  // namespace qsn::service
