#include "protocol/PeerCheck.h"

#include <windows.h>

#define SECURITY_WIN32  // which of its interfaces the header is to show
#include <schannel.h>
#include <security.h>
#include <wincrypt.h>

#include <algorithm>
#include <memory>
#include <span>

#include "Utility/Deleter.h"
#include "Utility/Text.h"
#include "protocol/CertificateCheck.h"

namespace qsn {
namespace {

using UniqueCertificate = std::unique_ptr<const CERT_CONTEXT, Deleter<CertFreeCertificateContext>>;

constexpr DWORD kTls12AndLater = SP_PROT_TLS1_2_CLIENT | SP_PROT_TLS1_3_CLIENT;

CtxtHandle* TlsContext(CURL* easy) {
    curl_tlssessioninfo* session = nullptr;
    if (curl_easy_getinfo(easy, CURLINFO_TLS_SSL_PTR, &session) != CURLE_OK || !session) return nullptr;
    return static_cast<CtxtHandle*>(session->internals);
}

UniqueCertificate Leaf(CtxtHandle* context) {
    PCCERT_CONTEXT leaf = nullptr;
    if (QueryContextAttributesW(context, SECPKG_ATTR_REMOTE_CERT_CONTEXT, &leaf) != SEC_E_OK) return nullptr;
    return UniqueCertificate(leaf);
}

bool IsCurrentTls(CtxtHandle* context) {
    SecPkgContext_ConnectionInfo info{};
    return QueryContextAttributesW(context, SECPKG_ATTR_CONNECTION_INFO, &info) == SEC_E_OK &&
           (info.dwProtocol & kTls12AndLater) != 0;
}

std::span<const unsigned char> BytesOf(const CERT_CONTEXT& certificate) {
    return {certificate.pbCertEncoded, certificate.cbCertEncoded};
}

}  // namespace

TransferError PeerCheck::Check(CURL* easy, const std::string& host) {
    CtxtHandle* const context = TlsContext(easy);
    const UniqueCertificate leaf = context ? Leaf(context) : nullptr;
    if (!leaf) return TransferError::kTls;
    long connects = 0;
    curl_easy_getinfo(easy, CURLINFO_NUM_CONNECTS, &connects);
    const auto bytes = BytesOf(*leaf);
    if (connects == 0 && host == m_host && std::ranges::equal(bytes, m_accepted)) return TransferError::kNone;
    m_accepted.clear();
    if (!IsCurrentTls(context)) return TransferError::kTls;
    const TransferError error = CheckServerCertificate(leaf.get(), Utf8ToWide(host));
    if (error != TransferError::kNone) return error;
    m_accepted.assign(bytes.begin(), bytes.end());
    m_host = host;
    return TransferError::kNone;
}

}  // namespace qsn
