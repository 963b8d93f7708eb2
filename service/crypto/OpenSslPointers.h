#pragma once

#include <memory>

struct evp_pkey_st;
struct x509_st;

namespace qsn::service {

// Without OpenSSL's own headers, which clash with wincrypt.h in the programs that use the service.
struct PrivateKeyDeleter {
    void operator()(evp_pkey_st* key) const;
};
struct CertificateDeleter {
    void operator()(x509_st* certificate) const;
};

using PrivateKeyPtr = std::unique_ptr<evp_pkey_st, PrivateKeyDeleter>;
using CertificatePtr = std::unique_ptr<x509_st, CertificateDeleter>;

}  // namespace qsn::service
