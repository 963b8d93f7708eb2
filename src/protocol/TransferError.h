#pragma once

#include <curl/curl.h>

namespace qsn {

// Why an exchange failed, with the numbers of WinINet: the trace shows those, and the support staff know them.
enum class TransferError : int {
    kNone = 0,
    kTimeout = 12002,
    kName = 12007,
    kBrokenOff = 12017,
    kConnect = 12029,
    kConnectionAborted = 12030,
    kCertificateDate = 12037,
    kCertificateName = 12038,
    kCertificateAuthority = 12045,
    kNotHttp = 12152,
    kTls = 12157,
    kOffline = 12163,
    kCertificateRevoked = 12170,
};

// `words` is what libcurl says of the failure. Only there does Schannel's own verdict on a certificate show.
TransferError ErrorOfTransfer(CURLcode code, const char* words) noexcept;

// Whether the way to the service failed before anything was sent, so that another way may be tried.
bool IsConnectFailure(TransferError error) noexcept;

}  // namespace qsn
