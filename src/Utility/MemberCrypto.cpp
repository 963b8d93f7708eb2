#include "Utility/MemberCrypto.h"

#include <openssl/crypto.h>
#include <openssl/pem.h>
#include <openssl/rand.h>

#include <algorithm>
#include <climits>
#include <utility>

#include "Utility/Base64.h"
#include "Utility/Guard.h"
#include "Utility/LibCrypto.h"
#include "Utility/Trace.h"
#include "Utility/WipeAtEnd.h"

namespace qsn {
namespace {

using Bytes = std::vector<std::uint8_t>;

constexpr char kUnit[] = "Utility\\CryptoUtility";
constexpr std::size_t kIvSize = 12;
constexpr int kTagSize = 16;
// What libcrypto's lengths of type int can express.
constexpr std::size_t kMaxInput = INT_MAX - kTagSize;

HRESULT Failed(const wchar_t* text) {
    TraceW(L"%ls", text);
    return E_FAIL;
}

std::span<const std::uint8_t> AsBytes(std::string_view text) {
    return {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()};
}

bool IsUsable(EVP_CIPHER_CTX* context, std::span<const std::uint8_t> iv, std::span<const std::uint8_t> input) {
    return context && iv.size() == kIvSize && input.size() <= kMaxInput;
}

UniqueCipherContext NewCipherContext() {
    StartLibCrypto();
    UniqueCipherContext context(EVP_CIPHER_CTX_new());
    if (!context) TraceW(L"Failed to call EVP_CIPHER_CTX_new");
    return context;
}

bool SwitchPaddingOff(EVP_CIPHER_CTX* context) {
    // On a context without a cipher OpenSSL 3 reports failure, but keeps the setting for the cipher to come.
    EVP_CIPHER_CTX_set_padding(context, 0);
    return EVP_CIPHER_CTX_test_flags(context, EVP_CIPH_NO_PADDING) != 0;
}

Outcome<Bytes> EncryptGcm(EVP_CIPHER_CTX* context, const AesKey& key, const std::uint8_t* iv,
                          std::span<const std::uint8_t> input) {
    if (!SwitchPaddingOff(context)) return {Failed(L"Failed to call EVP_CIPHER_CTX_set_padding")};
    const EVP_CIPHER* const cipher = EVP_aes_128_gcm();
    if (!cipher) return {Failed(L"Failed to call EVP_aes_128_gcm")};
    if (!EVP_EncryptInit_ex(context, cipher, nullptr, key.data(), iv))
        return {Failed(L"Failed to call EVP_EncryptInit_ex")};

    Bytes output(input.size() + kTagSize);
    int length = 0;
    if (!EVP_EncryptUpdate(context, output.data(), &length, input.data(), static_cast<int>(input.size())))
        return {Failed(L"Failed to call EVP_EncryptUpdate")};
    int rest = 0;
    if (!EVP_EncryptFinal_ex(context, output.data() + length, &rest))
        return {Failed(L"Failed to call EVP_EncryptFinal_ex")};
    length += rest;
    if (!EVP_CIPHER_CTX_ctrl(context, EVP_CTRL_GCM_GET_TAG, kTagSize, output.data() + length))
        return {Failed(L"Failed to call EVP_CIPHER_CTX_ctrl")};
    output.resize(static_cast<std::size_t>(length) + std::size_t{kTagSize});
    return {S_OK, std::move(output)};
}

// `output` has room for the whole input. The value is the length of the text in it.
Outcome<std::size_t> DecryptGcm(EVP_CIPHER_CTX* context, const AesKey& key, const std::uint8_t* iv,
                                std::span<const std::uint8_t> input, std::uint8_t* output) {
    if (!SwitchPaddingOff(context)) return {Failed(L"Failed to call EVP_CIPHER_CTX_set_padding")};
    const EVP_CIPHER* const cipher = EVP_aes_128_gcm();
    if (!cipher) return {Failed(L"Failed to call EVP_aes_128_gcm")};
    if (!EVP_DecryptInit_ex(context, cipher, nullptr, key.data(), iv))
        return {Failed(L"Failed to call EVP_DecryptInit_ex")};

    const auto ciphertext = input.first(input.size() - kTagSize);
    std::array<std::uint8_t, kTagSize> tag;
    std::ranges::copy(input.last(kTagSize), tag.begin());
    int length = 0;
    if (!EVP_DecryptUpdate(context, output, &length, ciphertext.data(), static_cast<int>(ciphertext.size())))
        return {Failed(L"Failed to call EVP_DecryptUpdate")};
    if (!EVP_CIPHER_CTX_ctrl(context, EVP_CTRL_GCM_SET_TAG, kTagSize, tag.data()))
        return {Failed(L"Failed to call EVP_CIPHER_CTX_ctrl")};
    int rest = 0;
    if (!EVP_DecryptFinal_ex(context, output + length, &rest)) return {Failed(L"Failed to call EVP_DecryptFinal_ex")};
    return {S_OK, static_cast<std::size_t>(length) + static_cast<std::size_t>(rest)};
}

// Otherwise, if the text says that it is encrypted, OpenSSL would ask the user of the host's program for a pass phrase.
int RefusePassPhrase(char* /*buffer*/, int /*size*/, int /*forWriting*/, void* /*argument*/) { return -1; }

Outcome<Bytes> EncryptRaw(RSA* rsa, const AesKey& key) {
    const int size = RSA_size(rsa);
    Bytes padded(static_cast<std::size_t>(size));
    const WipeAtEnd wipePadded(padded);
    if (!RSA_padding_add_PKCS1_OAEP_mgf1(padded.data(), size, key.data(), static_cast<int>(key.size()), nullptr, 0,
                                         EVP_sha256(), nullptr))
        return {Failed(L"Failed in RSA_padding_add_PKCS1_OAEP_mgf1\n")};
    Bytes encrypted(padded.size());
    if (RSA_public_encrypt(size, padded.data(), encrypted.data(), rsa, RSA_NO_PADDING) != size)
        return {Failed(L"Failed in RSA_public_encrypt\n")};
    return {S_OK, std::move(encrypted)};
}

Outcome<std::string> WrapKey(std::string_view bareKey, const AesKey& byAESKey) {
    std::string strOpenSSLKey("-----BEGIN PUBLIC KEY-----\n");
    strOpenSSLKey.append(bareKey).append("\n-----END PUBLIC KEY-----");
    const auto rsa = HandOn(CreateRSAFromPEM(strOpenSSLKey), kUnit, "CreateRSAFromPEM(strOpenSSLKey, &rsa)");
    if (FAILED(rsa.result)) return {rsa.result};
    const auto encryptedKey =
        HandOn(EncryptAesKey(rsa.value.get(), byAESKey), kUnit, "EncryptAesKey(rsa, byAESKey, &encryptedAesKey)");
    if (FAILED(encryptedKey.result)) return {encryptedKey.result};
    return HandOn(Base64Encode(encryptedKey.value), kUnit, "Base64Encode(encryptedAesKey, &strEncoded)");
}

}  // namespace

HRESULT GenerateAesKey(AesKey* key) {
    StartLibCrypto();
    return RAND_bytes(key->data(), static_cast<int>(key->size())) == 1 ? S_OK : Failed(L"Failed to RAND_bytes\n");
}

Outcome<UniqueRsa> CreateRSAFromPEM(const std::string& pem) {
    StartLibCrypto();
    const UniqueBio bio(BIO_new_mem_buf(pem.c_str(), -1));
    if (!bio) return {Failed(L"Failed to create BIO\n")};
    UniqueRsa rsa(PEM_read_bio_RSA_PUBKEY(bio.get(), nullptr, RefusePassPhrase, nullptr));
    if (!rsa) return {Failed(L"Failed to read RSA public key from PEM\n")};
    return {S_OK, std::move(rsa)};
}

Outcome<Bytes> EncryptAesKey(RSA* rsa, const AesKey& key) {
    return Guarded([&] { return EncryptRaw(rsa, key); });
}

Outcome<std::string> EncryptAESKeyByRSAKey(std::string_view bareKey, const AesKey& key) {
    return Guarded([&] { return WrapKey(bareKey, key); });
}

Outcome<Bytes> AesEncrypt(UniqueCipherContext context, const AesKey& key, std::span<const std::uint8_t> iv,
                          std::span<const std::uint8_t> input) {
    if (!IsUsable(context.get(), iv, input)) return {E_INVALIDARG};
    return Guarded([&] { return EncryptGcm(context.get(), key, iv.data(), input); });
}

Outcome<Bytes> AesDecrypt(UniqueCipherContext context, const AesKey& key, std::span<const std::uint8_t> iv,
                          std::span<const std::uint8_t> input) {
    if (!IsUsable(context.get(), iv, input)) return {E_INVALIDARG};
    if (input.size() < kTagSize) return {E_FAIL};
    return Guarded([&]() -> Outcome<Bytes> {
        Bytes output(input.size());
        const Outcome<std::size_t> length = DecryptGcm(context.get(), key, iv.data(), input, output.data());
        // A text that was not proved genuine goes no further.
        if (FAILED(length.result)) OPENSSL_cleanse(output.data(), output.size());
        output.resize(length.value);
        return {length.result, std::move(output)};
    });
}

Outcome<std::string> EncryptByAESKey(const AesKey& key, std::string_view iv, std::string_view plainText) {
    UniqueCipherContext context = NewCipherContext();
    if (!context) return {E_FAIL};
    const Outcome<Bytes> encrypted =
        HandOn(AesEncrypt(std::move(context), key, AsBytes(iv), AsBytes(plainText)), kUnit,
               "AesEncrypt(byAESKey, byIV, utf8ByteArray, encryptedData, &ciphertext_len)");
    if (FAILED(encrypted.result)) return {encrypted.result};
    return HandOn(Base64Encode(encrypted.value), kUnit, "Base64Encode(encryptedData, &strData64)");
}

Outcome<std::string> DecryptByAESKey(const AesKey& key, std::string_view iv, std::string_view encoded) {
    const Outcome<Bytes> encrypted =
        HandOn(Base64Decode(encoded), kUnit, "Base64Decode(strEncryptedData, &encryptedData)");
    if (FAILED(encrypted.result)) return {encrypted.result};
    UniqueCipherContext context = NewCipherContext();
    if (!context) return {E_FAIL};
    Outcome<Bytes> decrypted = HandOn(AesDecrypt(std::move(context), key, AsBytes(iv), encrypted.value), kUnit,
                                      "AesDecrypt(byAESKey, byIV, encryptedData, decryptedData, &plaintext_len)");
    const WipeAtEnd wipeDecrypted(decrypted.value);
    if (FAILED(decrypted.result)) return {decrypted.result};
    return Guarded([&]() -> Outcome<std::string> {
        return {S_OK, std::string(decrypted.value.begin(), decrypted.value.end())};
    });
}

}  // namespace qsn
