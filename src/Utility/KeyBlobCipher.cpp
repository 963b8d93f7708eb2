#include "Utility/KeyBlobCipher.h"

#include <algorithm>
#include <utility>

#include "Utility/CryptoApiOwners.h"

namespace qsn {
namespace {

UniqueCryptKey ImportKey(HCRYPTPROV provider, const KeyBlob& blob) {
    UniqueCryptKey key;
    if (blob.length <= sizeof(blob.bytes))
        CryptImportKey(provider, blob.bytes, blob.length, 0, CRYPT_EXPORTABLE, key.Receive());
    return key;
}

std::size_t BlockSize(HCRYPTKEY key) {
    DWORD bits = 0;
    DWORD size = sizeof(bits);
    if (!CryptGetKeyParam(key, KP_BLOCKLEN, reinterpret_cast<BYTE*>(&bits), &size, 0)) return 0;
    return bits / 8;
}

// Both directions begin with the key, and with the input in the output buffer with zeroes behind it.
Outcome<UniqueCryptKey> Prepare(const UniqueCryptProvider& provider, const KeyBlob& blob,
                                std::span<const std::uint8_t> input, std::span<std::uint8_t> output) {
    if (output.size() < input.size()) return {E_INVALIDARG};
    if (!provider) return {E_UNEXPECTED};
    std::fill(std::ranges::copy(input, output.begin()).out, output.end(), std::uint8_t{0});
    UniqueCryptKey key = ImportKey(provider.Get(), blob);
    return {key ? S_OK : E_FAIL, std::move(key)};
}

}  // namespace

UniqueCryptProvider AcquireKeyBlobProvider() {
    UniqueCryptProvider provider;
    if (!CryptAcquireContextW(provider.Receive(), nullptr, MS_ENHANCED_PROV_W, PROV_RSA_FULL, CRYPT_VERIFYCONTEXT) &&
        GetLastError() == static_cast<DWORD>(NTE_BAD_KEYSET))
        CryptAcquireContextW(provider.Receive(), nullptr, nullptr, PROV_RSA_FULL, CRYPT_NEWKEYSET);
    return provider;
}

Outcome<std::span<const std::uint8_t>> EncryptWithKeyBlob(const UniqueCryptProvider& provider, const KeyBlob& key,
                                                          std::span<const std::uint8_t, kKeyBlobBlockSize> block,
                                                          std::span<std::uint8_t> buffer) {
    if (!buffer.data()) return {E_POINTER};
    const Outcome<UniqueCryptKey> imported = Prepare(provider, key, block, buffer);
    if (FAILED(imported.result)) return {imported.result};
    DWORD length = static_cast<DWORD>(block.size());
    if (!CryptEncrypt(imported.value.Get(), 0, TRUE, 0, buffer.data(), &length, static_cast<DWORD>(buffer.size())))
        return {E_FAIL};
    return {S_OK, buffer.first(length)};
}

Outcome<std::span<const std::uint8_t>> DecryptWithKeyBlob(const UniqueCryptProvider& provider, const KeyBlob& key,
                                                          std::span<const std::uint8_t> ciphertext,
                                                          std::span<std::uint8_t> buffer) {
    if (!ciphertext.data() || !buffer.data()) return {E_POINTER};
    const Outcome<UniqueCryptKey> imported = Prepare(provider, key, ciphertext, buffer);
    if (FAILED(imported.result)) return {imported.result};
    // Not left to CryptDecrypt: some providers work on a whole block, beyond the end of a shorter buffer.
    if (BlockSize(imported.value.Get()) != ciphertext.size()) return {E_FAIL};
    DWORD length = static_cast<DWORD>(ciphertext.size());
    if (!CryptDecrypt(imported.value.Get(), 0, TRUE, 0, buffer.data(), &length)) return {E_FAIL};
    if (length < buffer.size()) buffer[length] = 0;
    return {S_OK, buffer.first(std::min<std::size_t>(length, buffer.size()))};
}

}  // namespace qsn
