#include "service/net/TlsContext.h"

namespace qsn::service {
namespace {

void Use(SSL_CTX* context, const CertificateAuthority& authority, const HostNames& hosts, LeafTraits traits) {
    const CertificatePtr leaf = authority.MakeLeaf(hosts, traits);
    RequireOpenSsl(
        SSL_CTX_use_certificate(context, leaf.get()) == 1 && SSL_CTX_use_PrivateKey(context, authority.LeafKey()) == 1,
        "SSL_CTX_use_certificate");
}

}  // namespace

SslContextPtr MakeTlsContext(const CertificateAuthority& authority, const HostNames& hosts, TlsFault fault) {
    SslContextPtr context(SSL_CTX_new(TLS_server_method()));
    RequireOpenSsl(context != nullptr, "SSL_CTX_new");
    const bool old = fault == TlsFault::kOldProtocolOnly;
    // TLS 1.1 signs with SHA-1, which the usual security level forbids.
    if (old) SSL_CTX_set_security_level(context.get(), 0);
    // This OpenSSL has no key exchange of TLS 1.3. Without a maximum, a client that offers it would get an alert.
    SSL_CTX_set_min_proto_version(context.get(), old ? TLS1_VERSION : TLS1_2_VERSION);
    SSL_CTX_set_max_proto_version(context.get(), old ? TLS1_1_VERSION : TLS1_2_VERSION);
    // In a resumed session the client would not see the certificate of the fault.
    SSL_CTX_set_session_cache_mode(context.get(), SSL_SESS_CACHE_OFF);
    SSL_CTX_set_options(context.get(), SSL_OP_NO_TICKET);
    SSL_CTX_set_mode(context.get(), SSL_MODE_ENABLE_PARTIAL_WRITE | SSL_MODE_ACCEPT_MOVING_WRITE_BUFFER);
    const LeafTraits traits{.expired = fault == TlsFault::kExpiredCertificate,
                            .otherHost = fault == TlsFault::kOtherHostCertificate,
                            .selfSigned = fault == TlsFault::kSelfSignedCertificate};
    if (fault == TlsFault::kUnknownAuthority) {
        Use(context.get(), CertificateAuthority(), hosts, traits);
    } else {
        Use(context.get(), authority, hosts, traits);
    }
    return context;
}

}  // namespace qsn::service
