#pragma once

#include "CertificateAuthority.h"
#include "OpenSsl.h"
#include "TlsFault.h"

namespace qsn::service {

SslContextPtr MakeTlsContext(const CertificateAuthority& authority, const HostNames& hosts, TlsFault fault);

}  // namespace qsn::service
