#pragma once

namespace qsn::service {

enum class TlsFault {
    kNone,
    kExpiredCertificate,
    kOtherHostCertificate,
    kSelfSignedCertificate,
    kUnknownAuthority,
    kOldProtocolOnly,  // nothing above TLS 1.1
    // What the client's first message meets:
    kCloseInHandshake,
    kSilenceInHandshake,
    kPlainText  // a refusal in plain text, as from a server without TLS
};

}  // namespace qsn::service
