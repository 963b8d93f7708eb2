#include "protocol/CertificateCheck.h"

#include <memory>

#include "Utility/Deleter.h"

namespace qsn {
namespace {

using UniqueChain = std::unique_ptr<const CERT_CHAIN_CONTEXT, Deleter<CertFreeCertificateChain>>;

UniqueChain BuildChain(PCCERT_CONTEXT leaf, DWORD flags) noexcept {
    char usage[] = szOID_PKIX_KP_SERVER_AUTH;
    LPSTR usages[] = {usage};
    CERT_CHAIN_PARA wanted{};
    wanted.cbSize = sizeof(wanted);
    wanted.RequestedUsage = {USAGE_MATCH_TYPE_OR, {1, usages}};
    PCCERT_CHAIN_CONTEXT chain = nullptr;
    if (!CertGetCertificateChain(nullptr, leaf, nullptr, leaf->hCertStore, &wanted, flags, nullptr, &chain))
        return nullptr;
    return UniqueChain(chain);
}

DWORD PolicyError(PCCERT_CHAIN_CONTEXT chain, const std::wstring& host) noexcept {
    HTTPSPolicyCallbackData https{};
    https.cbSize = sizeof(https);
    https.dwAuthType = AUTHTYPE_SERVER;
    https.pwszServerName = const_cast<wchar_t*>(host.c_str());
    CERT_CHAIN_POLICY_PARA policy{};
    policy.cbSize = sizeof(policy);
    policy.pvExtraPolicyPara = &https;
    CERT_CHAIN_POLICY_STATUS status{};
    status.cbSize = sizeof(status);
    if (!CertVerifyCertificateChainPolicy(CERT_CHAIN_POLICY_SSL, chain, &policy, &status))
        return static_cast<DWORD>(CERT_E_CHAINING);
    return status.dwError;
}

TransferError ErrorOf(DWORD error) noexcept {
    switch (static_cast<HRESULT>(error)) {
        case CERT_E_EXPIRED: return TransferError::kCertificateDate;
        case CERT_E_CN_NO_MATCH: return TransferError::kCertificateName;
        case CRYPT_E_REVOKED: return TransferError::kCertificateRevoked;
        default: return TransferError::kCertificateAuthority;
    }
}

// What the policy of some systems (Wine's) does not judge: it looks at the end of a chain only if there is one.
TransferError TrustError(DWORD trust) noexcept {
    if (trust == 0) return TransferError::kNone;
    if (trust & CERT_TRUST_IS_NOT_TIME_VALID) return TransferError::kCertificateDate;
    return TransferError::kCertificateAuthority;
}

// Uses a chain of its own. Nearly always nothing is known of revocation. Wine's policy would then stop and look neither
// at the name nor at the time.
bool IsKnownAsRevoked(PCCERT_CONTEXT leaf) noexcept {
    const UniqueChain chain =
        BuildChain(leaf, CERT_CHAIN_REVOCATION_CHECK_CHAIN_EXCLUDE_ROOT | CERT_CHAIN_REVOCATION_CHECK_CACHE_ONLY);
    return chain && (chain->TrustStatus.dwErrorStatus & CERT_TRUST_IS_REVOKED) != 0;
}

}  // namespace

TransferError CheckServerCertificate(PCCERT_CONTEXT leaf, const std::wstring& host) noexcept {
    const UniqueChain chain = BuildChain(leaf, 0);
    if (!chain) return TransferError::kCertificateAuthority;
    if (const DWORD error = PolicyError(chain.get(), host)) return ErrorOf(error);
    const TransferError error = TrustError(chain->TrustStatus.dwErrorStatus);
    if (error != TransferError::kNone) return error;
    return IsKnownAsRevoked(leaf) ? TransferError::kCertificateRevoked : TransferError::kNone;
}

}  // namespace qsn
