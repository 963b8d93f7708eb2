#include "service/crypto/Secrets.h"

#include <openssl/crypto.h>
#include <openssl/evp.h>
#include <openssl/rand.h>

#include "service/crypto/OpenSsl.h"

namespace qsn::service {
namespace {

constexpr std::size_t kSha256Size = 32;

}  // namespace

std::string RandomHex(std::size_t bytes) {
    Bytes random(bytes);
    RequireOpenSsl(RAND_bytes(random.data(), static_cast<int>(bytes)) == 1, "RAND_bytes");
    return ToHex(random);
}

Bytes Sha256(std::string_view bytes) {
    Bytes digest(kSha256Size);
    RequireOpenSsl(EVP_Digest(bytes.data(), bytes.size(), digest.data(), nullptr, EVP_sha256(), nullptr) == 1,
                   "SHA-256");
    return digest;
}

bool EqualSecrets(std::string_view given, std::string_view expected) {
    const Bytes a = Sha256(given), b = Sha256(expected);
    return CRYPTO_memcmp(a.data(), b.data(), a.size()) == 0;
}

}  // namespace qsn::service
