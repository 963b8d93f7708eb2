#pragma once

#include "service/crypto/OpenSsl.h"
#include "service/net/ByteStream.h"

namespace qsn::service {

// The server's side of TLS on a non-blocking socket that outlives it, as do the context and the signal.
class TlsStream final : public ByteStream {
public:
    TlsStream(SSL_CTX* context, const Socket& socket, const StopSignal& stop);

    bool Handshake();
    std::size_t ReadSome(std::span<char> buffer) override;
    bool WriteAll(std::string_view bytes) override;
    void SendCloseNotify();

private:
    // Waits for what the last call of `ssl_` needs before it can be repeated. False if it cannot be.
    bool WaitToRepeat(int result);

    SslPtr ssl_;
    SOCKET socket_;
    const StopSignal& stop_;
};

}  // namespace qsn::service
