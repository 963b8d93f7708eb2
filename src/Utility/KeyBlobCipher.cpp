#include "Utility/KeyBlobCipher.h"

#include <algorithm>

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

// What both directions begin with: the key, and the input in the output buffer with zeroes behind it.
HRESULT Prepare(const UniqueCryptProvider& provider, const KeyBlob& blob, std::span<const std::uint8_t> input,
                std::span<std::uint8_t> output, UniqueCryptKey* key) {
    if (output.size() < input.size()) return E_INVALIDARG;
    if (!provider) return E_UNEXPECTED;
    std::fill(std::ranges::copy(input, output.begin()).out, output.end(), std::uint8_t{0});
    *key = ImportKey(provider.Get(), blob);
    return *key ? S_OK : E_FAIL;
}

}  // namespace

UniqueCryptProvider AcquireKeyBlobProvider() {
    UniqueCryptProvider provider;
    if (!CryptAcquireContextW(provider.Receive(), nullptr, MS_ENHANCED_PROV_W, PROV_RSA_FULL, CRYPT_VERIFYCONTEXT) &&
        GetLastError() == static_cast<DWORD>(NTE_BAD_KEYSET))
        CryptAcquireContextW(provider.Receive(), nullptr, nullptr, PROV_RSA_FULL, CRYPT_NEWKEYSET);
    return provider;
}

HRESULT EncryptWithKeyBlob(const UniqueCryptProvider& provider, const KeyBlob& key,
                           std::span<const std::uint8_t, kKeyBlobBlockSize> block, std::uint8_t* output,
                           std::uint32_t* capacity) {
    if (!output || !capacity) return E_POINTER;
    UniqueCryptKey imported;
    const HRESULT hr = Prepare(provider, key, block, {output, *capacity}, &imported);
    if (FAILED(hr)) return hr;
    DWORD length = static_cast<DWORD>(block.size());
    if (!CryptEncrypt(imported.Get(), 0, TRUE, 0, output, &length, *capacity)) return E_FAIL;
    *capacity = length;
    return S_OK;
}

HRESULT DecryptWithKeyBlob(const UniqueCryptProvider& provider, const KeyBlob& key,
                           std::span<const std::uint8_t> ciphertext, std::uint8_t* output, std::uint32_t* capacity) {
    if (!ciphertext.data() || !output || !capacity) return E_POINTER;
    UniqueCryptKey imported;
    const HRESULT hr = Prepare(provider, key, ciphertext, {output, *capacity}, &imported);
    if (FAILED(hr)) return hr;
    // Not left to CryptDecrypt: there are providers that work on a whole block, beyond the end of a shorter buffer.
    if (BlockSize(imported.Get()) != ciphertext.size()) return E_FAIL;
    DWORD length = static_cast<DWORD>(ciphertext.size());
    if (!CryptDecrypt(imported.Get(), 0, TRUE, 0, output, &length)) return E_FAIL;
    if (length < *capacity) output[length] = 0;
    *capacity = length;
    return S_OK;
}

}  // namespace qsn
