#pragma once

namespace qsn::service {

enum class TlsFault {
    kNone,
    kExpiredCertificate,
    kOtherHostCertificate,
    kSelfSignedCertificate,
    kUnknownAuthority,
    // Nothing above TLS 1.1. WinINet of Wine 8 accepts that.
    kOldProtocolOnly,
    // WinINet of Wine 8 aborts its process when a handshake through a proxy fails like this.
    kCloseInHandshake
};

}  // namespace qsn::service
