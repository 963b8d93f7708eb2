#include "Utility/Base64.h"

#include <wincrypt.h>

#include <utility>

#include "Utility/Guard.h"
#include "Utility/Trace.h"

namespace qsn {
namespace {

constexpr DWORD kSingleLine = CRYPT_STRING_BASE64 | CRYPT_STRING_NOCRLF;

HRESULT Failed(const wchar_t* text) {
    TraceW(L"%ls", text);
    return E_FAIL;
}

Outcome<std::string> Encode(std::span<const std::uint8_t> bytes) {
    // CryptoAPI refuses a null pointer even if there are no bytes.
    const BYTE* const data = bytes.empty() ? reinterpret_cast<const BYTE*>("") : bytes.data();
    const DWORD size = static_cast<DWORD>(bytes.size());
    DWORD length = 0;
    if (!CryptBinaryToStringA(data, size, kSingleLine, nullptr, &length))
        return {Failed(L"Failed to calculate buffer size for Base64 encode\n")};
    std::string encoded(length, '\0');
    if (!CryptBinaryToStringA(data, size, kSingleLine, encoded.data(), &length))
        return {Failed(L"Failed to encode data to Base64\n")};
    encoded.resize(length);
    return {S_OK, std::move(encoded)};
}

Outcome<std::vector<std::uint8_t>> Decode(std::string_view text) {
    // To CryptoAPI a length of 0 means "up to the NUL".
    const char* const data = text.empty() ? "" : text.data();
    const DWORD length = static_cast<DWORD>(text.size());
    DWORD size = 0;
    if (!CryptStringToBinaryA(data, length, CRYPT_STRING_BASE64, nullptr, &size, nullptr, nullptr))
        return {Failed(L"Failed to calculate buffer size for Base64 decode\n")};
    std::vector<std::uint8_t> decoded(size);
    if (!CryptStringToBinaryA(data, length, CRYPT_STRING_BASE64, decoded.data(), &size, nullptr, nullptr))
        return {Failed(L"Failed to decode data from Base64\n")};
    decoded.resize(size);
    return {S_OK, std::move(decoded)};
}

}  // namespace

Outcome<std::string> Base64Encode(std::span<const std::uint8_t> bytes) {
    return Guarded([&] { return Encode(bytes); });
}

Outcome<std::vector<std::uint8_t>> Base64Decode(std::string_view text) {
    return Guarded([&] { return Decode(text); });
}

}  // namespace qsn
