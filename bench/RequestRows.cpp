#include <windows.h>

#include <wininet.h>

#include <array>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <stdexcept>
#include <string>

#include "Children.h"
#include "Rows.h"
#include "Sections.h"
#include "Session.h"
#include "Utility/NetworkProbe.h"
#include "engine/KeyProvider.h"
#include "engine/MessageAuthentication.h"
#include "support/Owned.h"
#include "support/TestService.h"

namespace qsn::bench {
namespace {

// A request of the library's, as the service recorded it.
struct Recorded {
    std::string host;
    std::string target;
    std::string headers;
    std::string body;
    std::string reply;
};

constexpr std::array kOwnHeaders{"Content-Type", "Accept", "Accept-Encoding", "X-token", "X-digest"};

// The children find the request there.
std::filesystem::path RequestFile() { return std::filesystem::temp_directory_path() / "request.bench"; }

Recorded Record() {
    Session session;
    session.SignIn();
    test::TestService::Instance().Server().TakeRequests();
    session.FetchUser();
    const auto requests = test::TestService::Instance().Server().TakeRequests();
    if (requests.empty()) throw std::runtime_error("no request was recorded");
    const service::RecordedRequest& request = requests.back();
    Recorded recorded{request.host, request.target, {}, request.body, request.replyBody};
    for (const char* name : kOwnHeaders) {
        if (const std::string* value = request.Header(name))
            recorded.headers.append(name).append(": ").append(*value).append("\r\n");
    }
    return recorded;
}

using InternetHandle = test::Owned<HINTERNET, InternetCloseHandle>;

std::string PostBare(const Recorded& request) {
    const InternetHandle session(InternetOpenA(nullptr, INTERNET_OPEN_TYPE_PRECONFIG, nullptr, nullptr, 0));
    const InternetHandle connection(
        InternetConnectA(session.Get(), request.host.c_str(), 443, nullptr, nullptr, INTERNET_SERVICE_HTTP, 0, 0));
    const InternetHandle exchange(HttpOpenRequestA(connection.Get(), "POST", request.target.c_str(), nullptr, nullptr,
                                                   nullptr, INTERNET_FLAG_SECURE | INTERNET_FLAG_NO_AUTO_REDIRECT, 0));
    std::string body = request.body;
    constexpr DWORD kHttpDecoding = 65;
    BOOL decode = TRUE;
    InternetSetOptionW(exchange.Get(), kHttpDecoding, &decode, sizeof(decode));
    if (!HttpSendRequestA(exchange.Get(), request.headers.c_str(), static_cast<DWORD>(request.headers.size()),
                          body.data(), static_cast<DWORD>(body.size())))
        throw std::runtime_error("the service cannot be reached");
    std::string reply;
    std::array<char, 4096> chunk{};
    DWORD read = 0;
    while (InternetReadFile(exchange.Get(), chunk.data(), chunk.size(), &read) && read != 0)
        reply.append(chunk.data(), read);
    if (reply.find("userName") == std::string::npos) throw std::runtime_error("the bare request was refused");
    return reply;
}

// What the protocol asks of every sender besides: whether there is a network, the request's pair, and the reply's.
void DoTheRest(const Recorded& request) {
    if (!IsNetworkAlive()) throw std::runtime_error("no network");
    AuthenticationPair pair;
    const ProvidedKey requestKey(KeySlot::kRequest);
    GenerateTokenAndDigest(requestKey.Blob(), request.body, &pair);
    const ProvidedKey replyKey(KeySlot::kReply);
    // Fails after the decryption, which is what takes the time.
    CheckTokenAndDigest(replyKey.Blob(), request.reply, pair.token, pair.digest);
}

Pair<Step> Warm(bool whole) {
    const auto session = std::make_shared<Session>();
    const auto request = std::make_shared<const Recorded>(Record());
    session->SignIn();
    return {[session] { session->FetchUser(); },
            [request, whole] {
                if (whole) DoTheRest(*request);
                PostBare(*request);
            }};
}

void Write(const Recorded& request) {
    std::ofstream file(RequestFile(), std::ios::binary);
    for (const std::string* part : {&request.host, &request.target, &request.headers, &request.body})
        file << *part << '\0';
}

Recorded Read() {
    std::ifstream file(RequestFile(), std::ios::binary);
    Recorded request;
    for (std::string* part : {&request.host, &request.target, &request.headers, &request.body})
        std::getline(file, *part, '\0');
    return request;
}

Figures FirstOfOurs() {
    Session session;
    session.SignIn();
    return {TimeOf([&] { session.FetchUser(); }), 0};
}

Figures FirstOfBare() {
    const Recorded request = Read();
    return {TimeOf([&] { PostBare(request); }), 0};
}

Pair<TimedStep> First() {
    Write(Record());
    return {[] { return FiguresOfChild("first-ours").ours; }, [] { return FiguresOfChild("first-bare").ours; }};
}

}  // namespace

void AddRequestRows() {
    static constexpr char kOurs[] = "Get User Info to the callback";
    static constexpr char kBare[] = "WinINet, the same bytes and headers";
    AddPair({"request-warm", kOurs, kBare, "the exchange", 1.05}, {.seconds = 0.3}, [] { return Warm(false); });
    AddPair({"request-warm-whole", kOurs, "the same, network asked for, pair made and checked",
             "the exchange and its authentication", 0},
            {.seconds = 0.3}, [] { return Warm(true); });
    AddChild("first-ours", FirstOfOurs);
    AddChild("first-bare", FirstOfBare);
    AddTimedPair({"request-first", "the same, first of a process", kBare, "TLS, and loading what it needs", 1.10},
                 {.repetitions = 9, .iterations = 1}, First);
}

}  // namespace qsn::bench
