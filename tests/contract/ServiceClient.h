#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <utility>

#include "service/Authenticator.h"
#include "service/CertificateAuthority.h"
#include "service/OpenSsl.h"
#include "service/Socket.h"

namespace qsn::service {

// A client of the service on OpenSSL, apart from WinINet and its process-wide caches: one tunnel to one host.
class ServiceClient {
public:
    ServiceClient(std::uint16_t port, const CertificateAuthority& trusted, const std::string& host);

    // Of the answer to CONNECT; empty when the connection broke.
    const std::string& TunnelReply() const { return tunnelReply_; }
    bool Secure() const { return secure_; }
    // X509_V_OK, or what is wrong with the certificate.
    long VerifyResult() const;

    // Sends the bytes and returns all that comes until the header's Content-Length is there or the connection ends.
    std::string Exchange(const std::string& request);
    // The same as its parts.
    std::pair<std::string, std::string> ExchangeParts(const std::string& request);
    // Everything until the server closes.
    std::string ReadToTheEnd();

private:
    std::string ReadSome();
    bool Complete(const std::string& reply) const;

    WinsockSession winsock_;
    Socket socket_;
    SslContextPtr context_;
    SslPtr ssl_;
    std::string tunnelReply_;
    bool secure_ = false;
};

// A request line, the headers given (each ended by CR LF) and the body.
std::string PostRequest(std::string_view path, std::string_view headers, std::string_view body);

// The library's half of the authentication, by OpenSSL.
std::string RequestToken(std::string_view nonce);
std::string NonceOfReply(std::string_view token);
// Both header lines of a well-made request.
std::string AuthenticationOf(std::string_view body);
// A header's value; empty when it is not there.
std::string HeaderIn(std::string_view header, std::string_view name);

}  // namespace qsn::service
