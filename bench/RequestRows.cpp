#include <windows.h>

#include <wininet.h>

#include <array>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <sstream>
#include <stdexcept>
#include <string>

#include "Children.h"
#include "Rows.h"
#include "Sections.h"
#include "Session.h"
#include "Utility/NetworkProbe.h"
#include "protocol/CurlLibrary.h"
#include "protocol/CurlOwners.h"
#include "protocol/KeyProvider.h"
#include "protocol/MessageAuthentication.h"
#include "service/operations/Authenticator.h"
#include "support/Owned.h"
#include "support/TestService.h"

namespace qsn::bench {
namespace {

// A request of the library, as the service recorded it.
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
        if (const auto value = request.headers[name]; !value.empty())
            recorded.headers.append(name).append(": ").append(value).append("\r\n");
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

// The same with libcurl, which is set up once, over a kept connection.
class BareCurl {
public:
    explicit BareCurl(std::shared_ptr<const Recorded> request) : m_request(std::move(request)) {
        Require(m_library.IsStarted() && m_easy, "libcurl does not start");
        std::istringstream lines(m_request->headers);
        for (std::string line; std::getline(lines, line);) {
            line.pop_back();
            m_headers.reset(curl_slist_append(m_headers.release(), line.c_str()));
        }
        m_headers.reset(curl_slist_append(m_headers.release(), "Expect:"));
        const std::string url = "https://" + m_request->host + m_request->target;
        const std::string proxy = "http://127.0.0.1:" + std::to_string(test::TestService::Instance().Server().Port());
        CURL* const easy = m_easy.get();
        curl_easy_setopt(easy, CURLOPT_URL, url.c_str());
        curl_easy_setopt(easy, CURLOPT_PROXY, proxy.c_str());
        curl_easy_setopt(easy, CURLOPT_HTTPHEADER, m_headers.get());
        curl_easy_setopt(easy, CURLOPT_ACCEPT_ENCODING, "gzip, deflate");
        curl_easy_setopt(easy, CURLOPT_SSL_VERIFYPEER, 0L);  // a warm exchange does not check the certificate
        curl_easy_setopt(easy, CURLOPT_POSTFIELDSIZE, static_cast<long>(m_request->body.size()));
        curl_easy_setopt(easy, CURLOPT_POSTFIELDS, m_request->body.c_str());
        curl_easy_setopt(easy, CURLOPT_WRITEFUNCTION, &Take);
        curl_easy_setopt(easy, CURLOPT_WRITEDATA, static_cast<void*>(&m_reply));
    }
    void Post() {
        m_reply.clear();
        Require(curl_easy_perform(m_easy.get()) == CURLE_OK, "the service cannot be reached");
        Require(m_reply.find("userName") != std::string::npos, "the bare request was refused");
    }

private:
    static std::size_t Take(char* data, std::size_t size, std::size_t count, void* reply) {
        static_cast<std::string*>(reply)->append(data, size * count);
        return size * count;
    }

    std::shared_ptr<const Recorded> m_request;
    CurlLibrary m_library;
    UniqueCurlList m_headers;
    UniqueEasy m_easy{curl_easy_init()};
    std::string m_reply;
};

// What the protocol also asks of every sender: the request's pair and the reply's.
class Authentication {
public:
    explicit Authentication(const Recorded& request) : m_body(request.body), m_reply(request.reply) {
        const service::TokenAndDigest pair = service::Authenticator(QSN_TEST_KEY_DIR).Make(m_reply);
        m_token = pair.token;
        m_digest = pair.digest;
    }
    void MakePair() {
        const ProvidedKey requestKey(KeySlot::kRequest);
        Require(SUCCEEDED(m_authentication.GenerateTokenAndDigest(requestKey.Blob(), m_body).result), "no pair");
    }
    void CheckReply() {
        const ProvidedKey replyKey(KeySlot::kReply);
        Require(m_authentication.CheckTokenAndDigest(replyKey.Blob(), m_reply, m_token, m_digest) == S_OK,
                "the reply's pair is not its own");
    }
    // After this the next pair acquires a provider of its own.
    void Forget() { m_authentication = {}; }

private:
    std::string m_body;
    std::string m_reply;
    std::string m_token;
    std::string m_digest;
    MessageAuthentication m_authentication;
};

enum class Beside { kCurl, kCurlWhole, kWinInetWhole, kBefore };

Pair<Step> Warm(Beside beside) {
    const auto session = std::make_shared<Session>();
    const auto request = std::make_shared<const Recorded>(Record());
    session->SignIn();
    const auto curl = std::make_shared<BareCurl>(request);
    const auto probe = std::make_shared<NetworkProbe>();
    const auto authentication = std::make_shared<Authentication>(*request);
    const auto wholeOverWinInet = [=](bool anew) {
        if (anew) {
            probe->Close();
            authentication->Forget();
        }
        Require(probe->IsNetworkAlive() != FALSE, "no network");
        authentication->MakePair();
        PostBare(*request);
        if (anew) authentication->Forget();
        authentication->CheckReply();
    };
    const auto bare = [=] {
        switch (beside) {
            case Beside::kCurl: curl->Post(); break;
            case Beside::kCurlWhole:
                authentication->MakePair();
                curl->Post();
                authentication->CheckReply();
                break;
            case Beside::kWinInetWhole: wholeOverWinInet(false); break;
            case Beside::kBefore: wholeOverWinInet(true); break;
        }
    };
    return {[session] { session->FetchUser(); }, bare};
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

Pair<TimedStep> Hung() {
    const auto ours = [] {
        Session session;
        session.SignIn();
        auto& server = test::TestService::Instance().Server();
        server.Rules().Once({.neverReply = true});
        server.TakeRequests();
        session.Qsn().GetUserInfo();
        Require(server.WaitForRequests(1, std::chrono::seconds(10)), "no request came");
        return TimeOf([&] { session.Qsn().Uninit(); });
    };
    return {ours, [] { return TimeOf([] { Sleep(1000); }); }};
}

}  // namespace

void AddRequestRows() {
    static constexpr char kOurs[] = "Get User Info to the callback";
    AddPair({"request-warm", kOurs, "libcurl, the same bytes and headers; pair made and checked",
             "the exchange and its authentication", 1.05},
            {.seconds = 0.3}, [] { return Warm(Beside::kCurlWhole); });
    AddPair({"request-warm-curl", kOurs, "libcurl, the same bytes and headers", "the exchange", 0}, {.seconds = 0.3},
            [] { return Warm(Beside::kCurl); });
    AddPair({"request-warm-wininet", kOurs, "WinINet, the same; network asked for, pair made and checked",
             "the exchange and its authentication", 0},
            {.seconds = 0.3}, [] { return Warm(Beside::kWinInetWhole); });
    AddPair(
        {"request-warm-before", kOurs, "the same, with the probe's library and the provider got anew, as it once was",
         "the exchange and its authentication", 0.6},
        {.seconds = 0.3}, [] { return Warm(Beside::kBefore); });
    AddChild("first-ours", FirstOfOurs);
    AddChild("first-bare", FirstOfBare);
    AddTimedPair({"request-first", "the same, first of a process", "WinINet, the same bytes and headers",
                  "TLS, and loading what it needs", 1.0},
                 {.repetitions = 9, .iterations = 1}, First);
    AddTimedPair({"uninit-hung", "`Uninit` while the service does not answer", "a wait of one second",
                  "the second that a request has to end by itself", 1.05},
                 {.repetitions = 5, .iterations = 1}, Hung);
}

}  // namespace qsn::bench
