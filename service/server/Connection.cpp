#include "service/server/Connection.h"

#include <array>

#include "service/http/HttpReply.h"
#include "service/http/ReplyGate.h"
#include "service/net/TlsStream.h"
#include "service/text/Text.h"

namespace qsn::service {
namespace {

constexpr std::string_view kTunnelOpen = "HTTP/1.1 200 Connection established\r\n\r\n";
constexpr int kLoginNeeded = 407;
constexpr std::array kLogins{"Negotiate", "NTLM", "Basic realm=\"proxy\""};

std::string HostIn(const std::string& target) { return LowerCase(target.substr(0, target.find(':'))); }

void WaitForTheEnd(ByteStream& stream) {
    std::array<char, 256> ignored;
    while (stream.ReadSome(ignored) > 0) {
    }
}

}  // namespace

void Connection::Run() {
    socket_.MakeNonBlocking();
    const BOOL noDelay = TRUE;
    setsockopt(socket_.Get(), IPPROTO_TCP, TCP_NODELAY, reinterpret_cast<const char*>(&noDelay), sizeof noDelay);
    PlainStream stream(socket_, generation_->ended);
    HttpRequestReader reader(stream);
    auto first = reader.Read();
    if (!first) return;
    const RecordedRequest& request = first->request;
    if (request.method == "CONNECT") {
        const std::string host = HostIn(request.target);
        if (OpenTunnel(stream, request, host)) ServeTunnel(stream, host);
    } else if (request.target.starts_with('/')) {
        ServeLocal(stream, reader, std::move(*first));
    } else {
        RefuseTunnel(stream, request, 400);
    }
}

bool Connection::OpenTunnel(PlainStream& stream, const RecordedRequest& request, const std::string& host) {
    if (const int refusal = context_.tunnelRefusal) {
        RefuseTunnel(stream, request, refusal);
    } else if (!context_.options.hosts.Contains(host) || request.target.substr(host.size()) != ":443") {
        RefuseTunnel(stream, request, 403);
    } else {
        context_.log.CountOne(&Counters::tunnels);
        return stream.WriteAll(kTunnelOpen);
    }
    return false;
}

void Connection::RefuseTunnel(PlainStream& stream, const RecordedRequest& request, int status) {
    const bool silent = status == AccountServer::kNoAnswer;
    if (silent) status = 0;
    context_.log.AddRefused(request.target);
    if (context_.options.onRefused) context_.options.onRefused(request.target, status);
    // A browser behind this proxy asks for many hosts by itself. The developer's host does not.
    if (context_.options.hosts.Contains(HostIn(request.target))) {
        RecordedRequest refused = request;
        refused.status = status;
        context_.history.Add(refused);
    }
    if (silent) return WaitForTheEnd(stream);
    HttpReply reply = HttpReply::Text(status, "this proxy serves the account service's hosts on port 443 only\n");
    if (status == kLoginNeeded) {
        for (const char* scheme : kLogins) reply.headers.insert("Proxy-Authenticate", scheme);
    }
    Send(reply, {}, false, stream, generation_->ended);
}

bool Connection::SpoilHandshake(PlainStream& stream) const {
    const TlsFault fault = generation_->fault;
    if (fault != TlsFault::kCloseInHandshake && fault != TlsFault::kSilenceInHandshake && fault != TlsFault::kPlainText)
        return false;
    // To close with the client's first message unread would reset the connection instead of ending it.
    std::array<char, 4096> hello;
    stream.ReadSome(hello);
    if (fault == TlsFault::kSilenceInHandshake) WaitForTheEnd(stream);
    if (fault == TlsFault::kPlainText) {
        Send(HttpReply::Text(400, "this port speaks HTTP\n"), {}, false, stream, generation_->ended);
    }
    return true;
}

void Connection::ServeTunnel(PlainStream& plain, const std::string& host) {
    TlsStream stream(generation_->tls.get(), socket_, generation_->ended);
    if (SpoilHandshake(plain) || !stream.Handshake()) return;
    context_.log.CountOne(&Counters::handshakes);
    HttpRequestReader reader(stream);
    for (auto received = reader.Read(); received; received = reader.Read()) {
        received->request.host = host;
        const Answer answer = context_.dispatcher.Run(received->request);
        Report(received->request);
        if (!Serve(stream, *received, answer)) break;
    }
    stream.SendCloseNotify();
}

void Connection::ServeLocal(PlainStream& stream, HttpRequestReader& reader, ReceivedRequest first) {
    for (std::optional received(std::move(first)); received; received = reader.Read()) {
        const Answer answer = context_.local.Run(received->request);
        if (LocalSite::IsService(received->request)) Report(received->request);
        if (!Serve(stream, *received, answer)) break;
    }
}

void Connection::Report(const RecordedRequest& request) {
    context_.log.Add(request);
    context_.history.Add(request);
    if (context_.options.onRequest) context_.options.onRequest(request);
}

bool Connection::Serve(ByteStream& stream, const ReceivedRequest& received, const Answer& answer) {
    const ReplyChange& change = answer.change;
    if (change.gate && !change.gate->Pass(generation_->ended)) return false;
    if (change.delay.count() > 0 && generation_->ended.WaitFor(change.delay)) return false;
    if (change.closeBeforeReply) return false;
    if (change.neverReply) {
        WaitForTheEnd(stream);
        return false;
    }
    return Send(answer.reply, change, received.keepAlive, stream, generation_->ended);
}

}  // namespace qsn::service
