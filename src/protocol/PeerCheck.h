#pragma once

#include <curl/curl.h>

#include <string>
#include <vector>

#include "protocol/TransferError.h"

namespace qsn {

// Whether the other end of a connection may be sent a request. The library checks this itself, whatever the system's
// TLS has said: Wine's accepts every certificate, and old versions of TLS too.
class PeerCheck {
public:
    // For the moment between handshake and request. A certificate is judged once for each connection. On a connection
    // that is used again it must still be the one that was accepted, even if that connection was never judged.
    TransferError Check(CURL* easy, const std::string& host);

private:
    std::string m_host;
    std::vector<unsigned char> m_accepted;  // the certificate, DER
};

}  // namespace qsn
