#pragma once

#include <curl/curl.h>

namespace qsn {

// Why an exchange failed, as the trace says it: with the numbers of WinINet, which the support staff know.
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

// `words` is what libcurl says of the failure: Schannel's own verdict on a certificate shows nowhere else.
TransferError ErrorOfTransfer(CURLcode code, const char* words) noexcept;

// Whether the failure is one of the way to the service, on which nothing has been sent, so that another may be tried.
bool IsConnectFailure(TransferError error) noexcept;

}  // namespace qsn
