#pragma once

#include <atomic>
#include <memory>
#include <string>

#include "AccountServer.h"
#include "Dispatcher.h"
#include "HttpRequestReader.h"
#include "Socket.h"
#include "TlsContext.h"

namespace qsn::service {

// What the connections accepted between two changes of the TLS behaviour share; raising `ended` ends them all.
struct Generation {
    TlsFault fault;
    SslContextPtr tls;
    StopSignal ended;
};

// The parts of the server that a connection uses; they outlive it.
struct ConnectionContext {
    const ServerOptions& options;
    const Dispatcher& dispatcher;
    RequestLog& log;
    std::atomic<int>& tunnelRefusal;
};

// One client: CONNECT, TLS, then requests until either side ends it. Runs on its own thread.
class Connection {
public:
    Connection(const ConnectionContext& context, std::shared_ptr<const Generation> generation, Socket socket)
        : context_(context), generation_(std::move(generation)), socket_(std::move(socket)) {}
    void Run();

private:
    // The host of the tunnel; empty when there is to be none.
    std::string OpenTunnel();
    void RefuseTunnel(PlainStream& stream, const std::string& target, int status);
    bool ServeOne(HttpRequestReader& reader, ByteStream& stream, const std::string& host);

    const ConnectionContext& context_;
    std::shared_ptr<const Generation> generation_;
    Socket socket_;
};

}  // namespace qsn::service
