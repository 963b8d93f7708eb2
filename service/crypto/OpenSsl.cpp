#include "service/crypto/OpenSsl.h"

#include <openssl/err.h>

namespace qsn::service {

void PrivateKeyDeleter::operator()(evp_pkey_st* key) const { EVP_PKEY_free(key); }
void CertificateDeleter::operator()(x509_st* certificate) const { X509_free(certificate); }

void RequireOpenSsl(bool done, const char* call) {
    if (done) return;
    char reason[256] = "no reason given";
    if (const unsigned long code = ERR_peek_last_error()) ERR_error_string_n(code, reason, sizeof reason);
    ERR_clear_error();
    throw std::runtime_error(std::string(call) + ": " + reason);
}

}  // namespace qsn::service
