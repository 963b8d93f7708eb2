#pragma once

#include <openssl/bio.h>
#include <openssl/evp.h>
#include <openssl/rsa.h>

#include <memory>

#include "Utility/Deleter.h"

namespace qsn {

using UniqueBio = std::unique_ptr<BIO, Deleter<BIO_free_all>>;  // with everything that is chained behind it
using UniqueRsa = std::unique_ptr<RSA, Deleter<RSA_free>>;
using UniqueCipherContext = std::unique_ptr<EVP_CIPHER_CTX, Deleter<EVP_CIPHER_CTX_free>>;

}  // namespace qsn
