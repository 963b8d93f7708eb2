#pragma once

#include <openssl/bio.h>
#include <openssl/evp.h>
#include <openssl/ssl.h>
#include <openssl/x509.h>

#include <memory>
#include <stdexcept>
#include <string>

#include "service/crypto/OpenSslPointers.h"

namespace qsn::service {

template <auto Free>
struct OpenSslDeleter {
    template <typename T>
    void operator()(T* object) const {
        Free(object);
    }
};

using KeyContextPtr = std::unique_ptr<EVP_PKEY_CTX, OpenSslDeleter<EVP_PKEY_CTX_free>>;
using ExtensionPtr = std::unique_ptr<X509_EXTENSION, OpenSslDeleter<X509_EXTENSION_free>>;
using BioPtr = std::unique_ptr<BIO, OpenSslDeleter<BIO_free_all>>;
using SslContextPtr = std::unique_ptr<SSL_CTX, OpenSslDeleter<SSL_CTX_free>>;
using SslPtr = std::unique_ptr<SSL, OpenSslDeleter<SSL_free>>;

// Throws std::runtime_error unless `done`: it names the call and OpenSSL's reason.
void RequireOpenSsl(bool done, const char* call);

}  // namespace qsn::service
