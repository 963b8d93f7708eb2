#include "service/net/CertificateAuthority.h"

#include <openssl/pem.h>
#include <openssl/rand.h>
#include <openssl/x509v3.h>

#include <array>
#include <span>

#include "service/crypto/OpenSsl.h"
#include "service/crypto/RsaKeys.h"
#include "service/crypto/Secrets.h"

namespace qsn::service {
namespace {

constexpr long kDay = 24 * 60 * 60;
constexpr long kLifetimeDays = 30;

struct Extension {
    int id;
    std::string value;
};

void AddExtension(X509& certificate, X509& issuer, const Extension& extension) {
    X509V3_CTX context;
    X509V3_set_ctx_nodb(&context);
    X509V3_set_ctx(&context, &issuer, &certificate, nullptr, nullptr, 0);
    const ExtensionPtr made(X509V3_EXT_conf_nid(nullptr, &context, extension.id, extension.value.c_str()));
    RequireOpenSsl(made && X509_add_ext(&certificate, made.get(), -1) == 1, "X509_add_ext");
}

// A random serial number: clients remember certificates by issuer and serial.
void SetSerial(X509& certificate) {
    std::array<unsigned char, 8> random{};
    RequireOpenSsl(RAND_bytes(random.data(), static_cast<int>(random.size())) == 1, "RAND_bytes");
    std::uint64_t serial = 0;
    for (const unsigned char byte : random) serial = serial << 8 | byte;
    RequireOpenSsl(ASN1_INTEGER_set_uint64(X509_get_serialNumber(&certificate), serial >> 1) == 1, "serial number");
}

CertificatePtr MakeUnsigned(const std::string& commonName, EVP_PKEY* key, long firstDay, long lastDay) {
    CertificatePtr certificate(X509_new());
    RequireOpenSsl(certificate != nullptr, "X509_new");
    X509_set_version(certificate.get(), X509_VERSION_3);
    SetSerial(*certificate);
    X509_gmtime_adj(X509_getm_notBefore(certificate.get()), firstDay * kDay);
    X509_gmtime_adj(X509_getm_notAfter(certificate.get()), lastDay * kDay);
    const auto* name = reinterpret_cast<const unsigned char*>(commonName.c_str());
    RequireOpenSsl(X509_NAME_add_entry_by_txt(X509_get_subject_name(certificate.get()), "CN", MBSTRING_ASC, name, -1,
                                              -1, 0) == 1 &&
                       X509_set_pubkey(certificate.get(), key) == 1,
                   "certificate subject");
    return certificate;
}

void Sign(X509& certificate, X509& issuer, EVP_PKEY* issuerKey, std::span<const Extension> extensions) {
    X509_set_issuer_name(&certificate, X509_get_subject_name(&issuer));
    AddExtension(certificate, issuer, {NID_subject_key_identifier, "hash"});
    AddExtension(certificate, issuer, {NID_authority_key_identifier, "keyid:always"});
    for (const Extension& extension : extensions) AddExtension(certificate, issuer, extension);
    RequireOpenSsl(X509_sign(&certificate, issuerKey, EVP_sha256()) > 0, "X509_sign");
}

std::string SubjectNames(const HostNames& hosts) {
    std::string names;
    for (const std::string_view host : hosts.All()) names += (names.empty() ? "DNS:" : ",DNS:") + std::string(host);
    return names;
}

}  // namespace

CertificateAuthority::CertificateAuthority()
    : key_(MakePrivateKey()),
      leafKey_(MakePrivateKey()),
      certificate_(MakeUnsigned("Account service development CA " + RandomHex(8), key_.get(), -1, kLifetimeDays)) {
    const std::array extensions{Extension{NID_basic_constraints, "critical,CA:TRUE"},
                                Extension{NID_key_usage, "critical,keyCertSign,cRLSign"}};
    Sign(*certificate_, *certificate_, key_.get(), extensions);
}

CertificatePtr CertificateAuthority::MakeLeaf(const HostNames& hosts, LeafTraits traits) const {
    const std::string names = traits.otherHost ? "DNS:elsewhere.invalid" : SubjectNames(hosts);
    const std::string commonName = traits.otherHost ? "elsewhere.invalid" : hosts.service;
    CertificatePtr leaf =
        MakeUnsigned(commonName, leafKey_.get(), traits.expired ? -20 : -1, traits.expired ? -10 : kLifetimeDays);
    const std::array extensions{Extension{NID_basic_constraints, "CA:FALSE"},
                                Extension{NID_key_usage, "critical,digitalSignature,keyEncipherment"},
                                Extension{NID_ext_key_usage, "serverAuth"}, Extension{NID_subject_alt_name, names}};
    X509& issuer = traits.selfSigned ? *leaf : *certificate_;
    Sign(*leaf, issuer, traits.selfSigned ? leafKey_.get() : key_.get(), extensions);
    return leaf;
}

std::vector<std::uint8_t> CertificateAuthority::Der() const {
    const int size = i2d_X509(certificate_.get(), nullptr);
    RequireOpenSsl(size > 0, "i2d_X509");
    std::vector<std::uint8_t> der(static_cast<std::size_t>(size));
    unsigned char* end = der.data();
    i2d_X509(certificate_.get(), &end);
    return der;
}

std::string CertificateAuthority::Pem() const {
    const BioPtr memory(BIO_new(BIO_s_mem()));
    RequireOpenSsl(memory && PEM_write_bio_X509(memory.get(), certificate_.get()) == 1, "PEM_write_bio_X509");
    char* text = nullptr;
    const long size = BIO_get_mem_data(memory.get(), &text);
    return {text, static_cast<std::size_t>(size)};
}

}  // namespace qsn::service
