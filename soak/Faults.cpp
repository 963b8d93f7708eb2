#include "Faults.h"

#include <array>
#include <atomic>
#include <chrono>
#include <mutex>
#include <random>
#include <vector>

namespace qsn::soak {
namespace {

using service::AccountServer;
using service::Compression;
using service::PairFault;
using service::ReplyChange;
using service::TlsFault;
using namespace std::chrono_literals;

enum class Of { kAll, kService, kMember };

struct ReplyFault {
    const char* name;
    unsigned perThousand;  // of the requests that it is for
    ReplyChange change;
    Of hosts = Of::kAll;
};

service::HeaderList LongHead() {
    service::HeaderList lines;
    for (int i = 0; i < 1000; ++i) lines.emplace_back("X-Line-" + std::to_string(i), std::string(1000, 'x'));
    return lines;
}

std::vector<ReplyFault> ReplyFaults() {
    return {
        {"slow", 40, {.delay = 300ms}},
        {"very slow", 4, {.delay = 3s}},
        {"in pieces", 20, {.pieceSize = 40, .pause = 5ms}},
        {"a byte a second", 1, {.pieceSize = 1, .pause = 1s}},
        {"no reply", 1, {.neverReply = true}},
        {"endless", 1, {.compression = Compression::kGzip, .endless = true}},
        {"interim reply", 10, {.before = "HTTP/1.1 103 Early Hints\r\n\r\n"}},
        {"deflate", 10, {.compression = Compression::kDeflate}},
        {"cookie", 10, {.headers = {{"Set-Cookie", "id=1; Domain=quillfern.example; Path=/"}}}},
        {"long head", 4, {.headers = LongHead()}},
        {"closed before reply", 20, {.closeBeforeReply = true}},
        {"closed in header", 10, {.closeAfterHeaderBytes = 20}},
        {"closed in body", 20, {.closeAfterBodyBytes = 10}},
        {"closed in chunk", 10, {.chunks = {10}, .closeAfterBodyBytes = 8}},
        {"broken chunks", 10, {.chunks = {10}, .breakChunking = true}},
        {"length too long", 10, {.contentLength = 100000, .closeAfterBodyBytes = 100000}},
        {"length too short", 10, {.contentLength = 5}},
        {"broken gzip", 10, {.compression = Compression::kBrokenGzip}},
        {"cut gzip", 10, {.compression = Compression::kCutGzip}},
        {"status 500", 10, {.status = 500}},
        {"status 302", 10, {.status = 302, .headers = {{"Location", "https://elsewhere.example/"}}}},
        {"wrong digest", 20, {.digest = PairFault::kWrong}, Of::kService},
        {"headers stripped", 20, {.token = PairFault::kOmitted, .digest = PairFault::kOmitted}, Of::kService},
        {"not JSON", 20, {.body = "<html>"}},
        {"nested too deep", 10, {.body = std::string(5000, '[')}},
        {"message for the user", 20, {.additionalMessage = "soon at an end"}, Of::kService},
        {"refused", 20, {.result = 6}, Of::kService},
        {"token revoked", 20, {.result = 101}, Of::kService},
        {"token renewal refused", 60, {.memberStatus = "FAIL"}, Of::kMember},
        {"spoilt member tag", 60, {.spoilMemberTag = true}, Of::kMember},
    };
}

struct WayFault {
    const char* name;
    TlsFault tls = TlsFault::kNone;
    int refusedTunnels = 0;
    const wchar_t* proxy = nullptr;  // in place of the service; "": no proxy at all
};

constexpr std::array kWayFaults{
    WayFault{"connections dropped"},
    WayFault{"expired certificate", TlsFault::kExpiredCertificate},
    WayFault{"certificate of another host", TlsFault::kOtherHostCertificate},
    WayFault{"self-signed certificate", TlsFault::kSelfSignedCertificate},
    WayFault{"unknown authority", TlsFault::kUnknownAuthority},
    WayFault{"old TLS", TlsFault::kOldProtocolOnly},
    WayFault{"closed in handshake", TlsFault::kCloseInHandshake},
    WayFault{"silent in handshake", TlsFault::kSilenceInHandshake},
    WayFault{"no TLS", TlsFault::kPlainText},
    WayFault{"tunnel refused", TlsFault::kNone, 502},
    WayFault{"login asked for", TlsFault::kNone, 407},
    WayFault{"silent proxy", TlsFault::kNone, AccountServer::kNoAnswer},
    WayFault{"proxy gone", TlsFault::kNone, 0, L"127.0.0.1:1"},
    WayFault{"name not found", TlsFault::kNone, 0, L""},
};
// In seconds: how often the way is spoilt, and for how long.
constexpr unsigned kBetweenWayFaults = 10;
constexpr unsigned kWayFaultLasts = 2;

void AddTo(std::string& text, std::uint64_t count, const char* name) {
    text += (text.empty() ? "" : ", ") + std::to_string(count) + " " + name;
}

}  // namespace

struct Faults::Replies {
    std::mutex randomLock;
    std::mt19937 random;
    std::vector<ReplyFault> faults = ReplyFaults();
    std::vector<std::atomic<std::uint64_t>> met = std::vector<std::atomic<std::uint64_t>>(faults.size());

    bool Draw(std::size_t index, const service::RecordedRequest& request) {
        const Of host = request.Path().starts_with("/member-auth/") ? Of::kMember : Of::kService;
        if (faults[index].hosts != Of::kAll && faults[index].hosts != host) return false;
        const std::lock_guard lock(randomLock);
        if (random() % 1000 >= faults[index].perThousand) return false;
        ++met[index];
        return true;
    }
};

Faults::Faults(AccountServer& server, unsigned seed)
    : m_server(server), m_nextWay(seed), m_replies(std::make_shared<Replies>()), m_waysMet(kWayFaults.size()) {
    m_replies->random.seed(seed);
    for (std::size_t index = 0; index < m_replies->faults.size(); ++index) {
        service::RequestMatch match;
        match.where = [replies = m_replies, index](const service::RecordedRequest& request) {
            return replies->Draw(index, request);
        };
        server.Rules().Always(m_replies->faults[index].change, std::move(match));
    }
}

void Faults::Tick(unsigned second) {
    if (second % kBetweenWayFaults == 0) SpoilTheWay();
    if (second % kBetweenWayFaults == kWayFaultLasts) MendTheWay();
}

void Faults::SpoilTheWay() {
    const std::size_t index = m_nextWay++ % kWayFaults.size();
    const WayFault& fault = kWayFaults[index];
    ++m_waysMet[index];
    if (fault.proxy) m_proxy.emplace(fault.proxy);
    m_server.RefuseTunnels(fault.refusedTunnels);
    m_server.SetTlsFault(fault.tls);  // drops the connections of clients, which would not notice the fault otherwise
}

void Faults::MendTheWay() {
    m_proxy.reset();
    m_server.RefuseTunnels(0);
    m_server.SetTlsFault(TlsFault::kNone);
}

void Faults::End() {
    m_server.Rules().Clear();
    MendTheWay();
}

std::uint64_t Faults::Total() const {
    std::uint64_t total = 0;
    for (const auto& met : m_replies->met) total += met;
    return total;
}

std::string Faults::Text() const {
    std::string text;
    for (std::size_t i = 0; i < m_waysMet.size(); ++i) AddTo(text, m_waysMet[i], kWayFaults[i].name);
    for (std::size_t i = 0; i < m_replies->met.size(); ++i) AddTo(text, m_replies->met[i], m_replies->faults[i].name);
    return text;
}

}  // namespace qsn::soak
