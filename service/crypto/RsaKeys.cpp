#include "service/crypto/RsaKeys.h"

#include <openssl/err.h>
#include <openssl/pem.h>
#include <openssl/rsa.h>

#include <fstream>
#include <iterator>

#include "service/crypto/OpenSsl.h"

namespace qsn::service {
namespace {

constexpr unsigned kKeyBits = 2048;

using PemReader = EVP_PKEY* (*)(BIO*, EVP_PKEY**, pem_password_cb*, void*);

PrivateKeyPtr ReadKey(const std::filesystem::path& file, PemReader read) {
    std::ifstream stream(file, std::ios::binary);
    if (!stream) throw std::runtime_error("cannot open key file " + file.string());
    const std::string text{std::istreambuf_iterator<char>(stream), {}};
    const BioPtr memory(BIO_new_mem_buf(text.data(), static_cast<int>(text.size())));
    PrivateKeyPtr key(read(memory.get(), nullptr, nullptr, nullptr));
    ERR_clear_error();
    if (!key || EVP_PKEY_base_id(key.get()) != EVP_PKEY_RSA) {
        throw std::runtime_error("no RSA key of the needed kind in " + file.string());
    }
    return key;
}

}  // namespace

PrivateKeyPtr ReadPrivateKey(const std::filesystem::path& file) { return ReadKey(file, PEM_read_bio_PrivateKey); }
PrivateKeyPtr ReadPublicKey(const std::filesystem::path& file) { return ReadKey(file, PEM_read_bio_PUBKEY); }

PrivateKeyPtr MakePrivateKey() {
    PrivateKeyPtr key(EVP_RSA_gen(kKeyBits));
    RequireOpenSsl(key != nullptr, "EVP_RSA_gen");
    return key;
}

}  // namespace qsn::service
