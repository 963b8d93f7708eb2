#pragma once

#include "service/crypto/OpenSsl.h"
#include "service/net/CertificateAuthority.h"
#include "service/net/TlsFault.h"

namespace qsn::service {

SslContextPtr MakeTlsContext(const CertificateAuthority& authority, const HostNames& hosts, TlsFault fault);

}  // namespace qsn::service
