#pragma once

#include <atomic>
#include <memory>
#include <string>

#include "service/http/HttpRequestReader.h"
#include "service/net/Socket.h"
#include "service/net/TlsContext.h"
#include "service/server/AccountServer.h"
#include "service/server/Dispatcher.h"
#include "service/server/LocalSite.h"

namespace qsn::service {

// What the connections accepted between two changes of the TLS behaviour share. Raising `ended` ends them all.
struct Generation {
    TlsFault fault;
    SslContextPtr tls;
    StopSignal ended;
};

// The parts of the server that a connection uses. They outlive it.
struct ConnectionContext {
    const ServerOptions& options;
    const Dispatcher& dispatcher;
    const LocalSite& local;
    RequestLog& log;
    RequestHistory& history;
    std::atomic<int>& tunnelRefusal;
};

// One client: CONNECT and TLS, or a browser that asks the port itself. Then come requests until either side ends it.
// Runs on its own thread.
class Connection {
public:
    Connection(const ConnectionContext& context, std::shared_ptr<const Generation> generation, Socket socket)
        : context_(context), generation_(std::move(generation)), socket_(std::move(socket)) {}
    void Run();

private:
    // False if it was refused.
    bool OpenTunnel(PlainStream& stream, const RecordedRequest& request, const std::string& host);
    void RefuseTunnel(PlainStream& stream, const RecordedRequest& request, int status);
    void ServeTunnel(PlainStream& plain, const std::string& host);
    // True if the fault took the handshake's place.
    bool SpoilHandshake(PlainStream& stream) const;
    void ServeLocal(PlainStream& stream, HttpRequestReader& reader, ReceivedRequest first);
    bool Serve(ByteStream& stream, const ReceivedRequest& received, const Answer& answer);
    void Report(const RecordedRequest& request);

    const ConnectionContext& context_;
    std::shared_ptr<const Generation> generation_;
    Socket socket_;
};

}  // namespace qsn::service
