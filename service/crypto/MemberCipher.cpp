#include "service/crypto/MemberCipher.h"

#include <openssl/err.h>

#include <algorithm>

#include "service/crypto/OpenSsl.h"

namespace qsn::service {
namespace {

constexpr std::size_t kMemberTagSize = 16;
// 12 bytes are this mode's default, so OpenSSL need not be told.
constexpr std::string_view kInitialisationVector = "ZTHarborKeys";

using CipherContextPtr = std::unique_ptr<EVP_CIPHER_CTX, OpenSslDeleter<EVP_CIPHER_CTX_free>>;

CipherContextPtr StartCipher(MemberCipherKey key, bool encrypt) {
    CipherContextPtr context(EVP_CIPHER_CTX_new());
    const auto* iv = reinterpret_cast<const unsigned char*>(kInitialisationVector.data());
    RequireOpenSsl(
        context && EVP_CipherInit_ex(context.get(), EVP_aes_128_gcm(), nullptr, key.data(), iv, encrypt) == 1,
        "EVP_CipherInit_ex");
    return context;
}

}  // namespace

Bytes EncryptMemberText(MemberCipherKey key, std::string_view plainText) {
    const CipherContextPtr context = StartCipher(key, true);
    Bytes sealed(plainText.size() + kMemberTagSize);
    int size = 0, rest = 0;
    const auto* plain = reinterpret_cast<const unsigned char*>(plainText.data());
    RequireOpenSsl(
        EVP_EncryptUpdate(context.get(), sealed.data(), &size, plain, static_cast<int>(plainText.size())) == 1 &&
            EVP_EncryptFinal_ex(context.get(), sealed.data() + size, &rest) == 1 &&
            EVP_CIPHER_CTX_ctrl(context.get(), EVP_CTRL_GCM_GET_TAG, kMemberTagSize, sealed.data() + size + rest) == 1,
        "AES-GCM encryption");
    return sealed;
}

std::optional<std::string> DecryptMemberText(MemberCipherKey key, std::span<const std::uint8_t> sealed) {
    if (sealed.size() < kMemberTagSize) return std::nullopt;
    const CipherContextPtr context = StartCipher(key, false);
    const auto cipherText = sealed.first(sealed.size() - kMemberTagSize);
    std::array<std::uint8_t, kMemberTagSize> tag;
    std::ranges::copy(sealed.last(kMemberTagSize), tag.begin());
    std::string plain(cipherText.size(), '\0');
    auto* const output = reinterpret_cast<unsigned char*>(plain.data());
    int size = 0, rest = 0;
    const bool genuine =
        EVP_DecryptUpdate(context.get(), output, &size, cipherText.data(), static_cast<int>(cipherText.size())) == 1 &&
        EVP_CIPHER_CTX_ctrl(context.get(), EVP_CTRL_GCM_SET_TAG, kMemberTagSize, tag.data()) == 1 &&
        EVP_DecryptFinal_ex(context.get(), output + size, &rest) == 1;
    ERR_clear_error();
    return genuine ? std::optional(std::move(plain)) : std::nullopt;
}

}  // namespace qsn::service
