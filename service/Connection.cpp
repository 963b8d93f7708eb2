#include "Connection.h"

#include <array>

#include "HttpReply.h"
#include "Text.h"
#include "TlsStream.h"

namespace qsn::service {
namespace {

constexpr std::string_view kTunnelOpen = "HTTP/1.1 200 Connection established\r\n\r\n";

}  // namespace

void Connection::Run() {
    socket_.MakeNonBlocking();
    const BOOL noDelay = TRUE;
    setsockopt(socket_.Get(), IPPROTO_TCP, TCP_NODELAY, reinterpret_cast<const char*>(&noDelay), sizeof noDelay);
    const std::string host = OpenTunnel();
    if (host.empty()) return;
    TlsStream stream(generation_->tls.get(), socket_, generation_->ended);
    if (generation_->fault == TlsFault::kCloseInHandshake || !stream.Handshake()) {
        context_.log.CountOne(&Counters::failedHandshakes);
        return;
    }
    context_.log.CountOne(&Counters::handshakes);
    HttpRequestReader reader(stream);
    while (ServeOne(reader, stream, host)) {
    }
    stream.SendCloseNotify();
}

std::string Connection::OpenTunnel() {
    PlainStream stream(socket_, generation_->ended);
    HttpRequestReader reader(stream);
    const auto received = reader.Read();
    if (!received) return {};
    const std::string& target = received->request.target;
    std::string host = LowerCase(target.substr(0, target.find(':')));
    if (received->request.method != "CONNECT") {
        RefuseTunnel(stream, target, 400);
    } else if (const int refusal = context_.tunnelRefusal) {
        RefuseTunnel(stream, target, refusal);
    } else if (!context_.options.hosts.Contains(host) || target.substr(host.size()) != ":443") {
        RefuseTunnel(stream, target, 403);
    } else {
        context_.log.CountOne(&Counters::tunnels);
        if (!stream.WriteAll(kTunnelOpen)) return {};
        if (generation_->fault != TlsFault::kCloseInHandshake) return host;
        // Closing with the client's first message unread would reset the connection instead of ending it.
        std::array<char, 4096> hello;
        stream.ReadSome(hello.data(), hello.size());
        return host;
    }
    return {};
}

void Connection::RefuseTunnel(PlainStream& stream, const std::string& target, int status) {
    context_.log.AddRefused(target);
    if (context_.options.onRefused) context_.options.onRefused(target, status);
    const HttpReply reply = HttpReply::Text(status, "this proxy serves the account service's hosts on port 443 only\n");
    Send(Compose(reply, {}, false), {}, stream, generation_->ended);
}

bool Connection::ServeOne(HttpRequestReader& reader, ByteStream& stream, const std::string& host) {
    auto received = reader.Read();
    if (!received) return false;
    RecordedRequest& request = received->request;
    request.host = host;
    const Answer answer = context_.dispatcher.Run(request);
    context_.log.Add(request);
    if (context_.options.onRequest) context_.options.onRequest(request);
    const ReplyChange& change = answer.change;
    if (change.delay.count() > 0 && generation_->ended.WaitFor(change.delay)) return false;
    if (change.closeBeforeReply) return false;
    if (change.neverReply) {
        std::array<char, 256> ignored;
        while (stream.ReadSome(ignored.data(), ignored.size()) > 0) {
        }
        return false;
    }
    return Send(Compose(answer.reply, change, received->keepAlive), change, stream, generation_->ended);
}

}  // namespace qsn::service
