#include "service/net/UserConfiguration.h"

// wincrypt.h needs windows.h before it.
#include <wincrypt.h>

#include <system_error>

namespace qsn::service {
namespace {

struct StoreCloser {
    void operator()(void* store) const { CertCloseStore(store, 0); }
};
using CertificateStore = std::unique_ptr<void, StoreCloser>;

struct CertificateCloser {
    void operator()(const CERT_CONTEXT* certificate) const { CertFreeCertificateContext(certificate); }
};
using Certificate = std::unique_ptr<const CERT_CONTEXT, CertificateCloser>;

CertificateStore OpenRoots() {
    return CertificateStore(CertOpenStore(CERT_STORE_PROV_SYSTEM_W, 0, 0, CERT_SYSTEM_STORE_CURRENT_USER, L"Root"));
}

// Under Wine closing alone does not write a deletion.
bool Commit(HCERTSTORE store) { return CertControlStore(store, 0, CERT_STORE_CTRL_COMMIT, nullptr) != FALSE; }

void Trust(std::span<const std::uint8_t> der) {
    const CertificateStore roots = OpenRoots();
    if (!roots ||
        !CertAddEncodedCertificateToStore(roots.get(), X509_ASN_ENCODING, der.data(), static_cast<DWORD>(der.size()),
                                          CERT_STORE_ADD_REPLACE_EXISTING, nullptr) ||
        !Commit(roots.get())) {
        throw std::system_error(static_cast<int>(GetLastError()), std::system_category(), "trusting the authority");
    }
}

void Distrust(std::span<const std::uint8_t> der) {
    const CertificateStore roots = OpenRoots();
    const Certificate wanted(
        CertCreateCertificateContext(X509_ASN_ENCODING, der.data(), static_cast<DWORD>(der.size())));
    if (!roots || !wanted) return;
    // Deleting frees the context as well, whether or not it succeeds.
    if (const CERT_CONTEXT* found =
            CertFindCertificateInStore(roots.get(), X509_ASN_ENCODING, 0, CERT_FIND_EXISTING, wanted.get(), nullptr)) {
        CertDeleteCertificateFromStore(found);
        Commit(roots.get());
    }
}

}  // namespace

UserConfiguration::UserConfiguration(std::uint16_t port, std::span<const std::uint8_t> authorityDer)
    : proxy_(L"127.0.0.1:" + std::to_wstring(port)), authorityDer_(authorityDer.begin(), authorityDer.end()) {
    Trust(authorityDer_);
}

UserConfiguration::~UserConfiguration() { Distrust(authorityDer_); }

}  // namespace qsn::service
