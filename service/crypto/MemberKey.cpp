#include "service/crypto/MemberKey.h"

#include <openssl/err.h>
#include <openssl/rsa.h>

#include "service/crypto/Base64.h"
#include "service/crypto/OpenSsl.h"

namespace qsn::service {

std::string MemberKey::PublicBody() const {
    const int size = i2d_PUBKEY(key_.get(), nullptr);
    RequireOpenSsl(size > 0, "i2d_PUBKEY");
    Bytes der(static_cast<std::size_t>(size));
    unsigned char* end = der.data();
    i2d_PUBKEY(key_.get(), &end);
    return ToBase64(der);
}

std::optional<Bytes> MemberKey::Unwrap(std::span<const std::uint8_t> wrapped) const {
    const KeyContextPtr context(EVP_PKEY_CTX_new(key_.get(), nullptr));
    RequireOpenSsl(context && EVP_PKEY_decrypt_init(context.get()) == 1 &&
                       EVP_PKEY_CTX_set_rsa_padding(context.get(), RSA_PKCS1_OAEP_PADDING) == 1 &&
                       EVP_PKEY_CTX_set_rsa_oaep_md(context.get(), EVP_sha256()) == 1 &&
                       EVP_PKEY_CTX_set_rsa_mgf1_md(context.get(), EVP_sha256()) == 1,
                   "OAEP setup");
    Bytes plain(static_cast<std::size_t>(EVP_PKEY_size(key_.get())));
    std::size_t size = plain.size();
    const bool done = EVP_PKEY_decrypt(context.get(), plain.data(), &size, wrapped.data(), wrapped.size()) == 1;
    ERR_clear_error();
    if (!done) return std::nullopt;
    plain.resize(size);
    return plain;
}

}  // namespace qsn::service
