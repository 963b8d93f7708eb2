#pragma once

#include <openssl/bio.h>
#include <openssl/evp.h>
#include <openssl/rsa.h>

#include <memory>

namespace qsn {

// A BIO with all that is chained behind it.
struct BioDeleter {
    void operator()(BIO* bio) const noexcept { BIO_free_all(bio); }
};
using UniqueBio = std::unique_ptr<BIO, BioDeleter>;

struct RsaDeleter {
    void operator()(RSA* rsa) const noexcept { RSA_free(rsa); }
};
using UniqueRsa = std::unique_ptr<RSA, RsaDeleter>;

struct CipherContextDeleter {
    void operator()(EVP_CIPHER_CTX* context) const noexcept { EVP_CIPHER_CTX_free(context); }
};
using UniqueCipherContext = std::unique_ptr<EVP_CIPHER_CTX, CipherContextDeleter>;

}  // namespace qsn
