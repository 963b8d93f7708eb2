#pragma once

#include <windows.h>

#include <wincrypt.h>

#include <string>

#include "protocol/TransferError.h"

namespace qsn {

// `kNone` if the system's chain engine accepts the server certificate `leaf`, with the certificates that came along in
// its store, for `host` at this time; else what is wrong with it. The system may fetch missing certificates. Revocation
// is judged by what the system knows already, so that nobody waits for a list.
TransferError CheckServerCertificate(PCCERT_CONTEXT leaf, const std::wstring& host) noexcept;

}  // namespace qsn
