#include "protocol/MessageAuthentication.h"

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <optional>
#include <string>

#include "Utility/Hex.h"
#include "Utility/Md5.h"

namespace qsn {
namespace {

using NonceBlock = char[kKeyBlobBlockSize];

void MakeNonce(NonceBlock& nonce) {
    std::srand(static_cast<unsigned>(std::time(nullptr)));
    std::snprintf(nonce, sizeof(nonce), "%d", std::rand());
}

// Copies with a terminator; false if `text` does not fit.
template <std::size_t size>
bool Place(const std::string& text, char (&buffer)[size]) {
    if (text.size() >= size) return false;
    std::memcpy(buffer, text.c_str(), text.size() + 1);
    return true;
}

Outcome<AuthenticationPair> Generate(const UniqueCryptProvider& provider, const KeyBlob& requestKey,
                                     std::string_view body) {
    Outcome<AuthenticationPair> pair;
    NonceBlock nonce = {};
    MakeNonce(nonce);

    std::uint8_t buffer[sizeof(pair.value.token)];
    const auto encrypted = EncryptWithKeyBlob(
        provider, requestKey,
        std::span<const std::uint8_t, sizeof(nonce)>(reinterpret_cast<std::uint8_t*>(nonce), sizeof(nonce)), buffer);
    if (FAILED(encrypted.result)) return {encrypted.result};
    if (!Place(BytesToHex(encrypted.value), pair.value.token)) return {E_UNEXPECTED};

    const std::string digest = HmacMD5Hex(provider, body, nonce);
    if (!IsMD5Hex(digest) || !Place(digest, pair.value.digest)) return {E_FAIL};
    return pair;
}

HRESULT Check(const UniqueCryptProvider& provider, const KeyBlob& replyKey, std::string_view body,
              std::span<const std::uint8_t> ciphertext, std::string_view digest) {
    std::uint8_t buffer[512] = {};
    const auto plain = DecryptWithKeyBlob(provider, replyKey, ciphertext, buffer);
    if (FAILED(plain.result)) return E_FAIL;

    const char* const text = reinterpret_cast<const char*>(plain.value.data());
    const std::string_view nonce(text, strnlen(text, plain.value.size()));
    const std::string expected = HmacMD5Hex(provider, body, nonce);
    if (expected == kHmacOutOfMemory) return E_OUTOFMEMORY;
    return IsMD5Hex(expected) && expected == digest ? S_OK : E_FAIL;
}

}  // namespace

Outcome<AuthenticationPair> MessageAuthentication::GenerateTokenAndDigest(const KeyBlob& requestKey,
                                                                          std::string_view body) {
    if (body.data() == nullptr) return {E_POINTER};
    return Generate(Provider(), requestKey, body);
}

HRESULT MessageAuthentication::CheckTokenAndDigest(const KeyBlob& replyKey, std::string_view body,
                                                   std::string_view token, std::string_view digest) {
    if (token.size() >= sizeof(AuthenticationPair::token)) return E_FAIL;
    const std::optional<std::string> encrypted = HexToBytes(token);
    if (!encrypted) return E_FAIL;
    const std::span<const std::uint8_t> ciphertext(reinterpret_cast<const std::uint8_t*>(encrypted->data()),
                                                   encrypted->size());
    return Check(Provider(), replyKey, body, ciphertext, digest);
}

const UniqueCryptProvider& MessageAuthentication::Provider() {
    if (!m_provider) m_provider = AcquireKeyBlobProvider();
    return m_provider;
}

}  // namespace qsn
