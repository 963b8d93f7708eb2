#include <winsock2.h>

#include "common/BrowserLogin.h"

#include <gtest/gtest.h>

#include <future>
#include <optional>
#include <string>
#include <vector>

#include "support/ProcessState.h"

namespace qsn::test {
namespace {

using sample::BrowserLogin;
using Outcome = BrowserLogin::Outcome;

struct Client {
    explicit Client(const std::string& port) : handle(socket(AF_INET, SOCK_STREAM, IPPROTO_TCP)) {
        sockaddr_in address = {};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        address.sin_port = htons(static_cast<u_short>(std::stoi(port)));
        connect(handle, reinterpret_cast<const sockaddr*>(&address), sizeof(address));
        const DWORD bound = 20000;
        setsockopt(handle, SOL_SOCKET, SO_RCVTIMEO, reinterpret_cast<const char*>(&bound), sizeof(bound));
    }
    Client(const Client&) = delete;
    Client& operator=(const Client&) = delete;
    ~Client() { closesocket(handle); }

    void Send(const std::string& bytes) const { send(handle, bytes.data(), static_cast<int>(bytes.size()), 0); }
    std::string Reply() const {
        std::string reply;
        char piece[512];
        for (int size; (size = recv(handle, piece, sizeof(piece), 0)) > 0;) {
            reply.append(piece, static_cast<std::size_t>(size));
        }
        return reply;
    }

    SOCKET handle;
};

class BrowserLoginTest : public testing::Test {
protected:
    void Start(std::chrono::milliseconds timeLimit = BrowserLogin::kTimeLimit) {
        m_login.emplace(
            [this](Outcome outcome, const std::string& token) {
                ++m_reports;
                m_report.set_value({outcome, token});
            },
            timeLimit);
        const std::string address = m_login->AddressToOpen("http://service/login?SID=A");
        const std::size_t port = address.find("&redirect_port=") + 15;
        const std::size_t state = address.find("&state=") + 7;
        ASSERT_EQ(address.substr(0, port), "http://service/login?SID=A&redirect_port=");
        m_port = address.substr(port, state - 7 - port);
        m_state = address.substr(state);
        ASSERT_GE(m_state.size(), 32u);
    }

    std::string Get(const std::string& target) const {
        return "GET " + target + " HTTP/1.1\r\nAccept: */*\r\nhost: 127.0.0.1:" + m_port + "\r\n\r\n";
    }
    std::string Ask(const std::string& bytes) const {
        const Client client(m_port);
        client.Send(bytes);
        return client.Reply();
    }
    std::string Answer(const std::string& parameters) const {
        return Ask(Get("/signed-in?state=" + m_state + parameters));
    }
    static std::string Status(const std::string& reply) { return reply.substr(0, 12); }

    std::pair<Outcome, std::string> Report() {
        auto report = m_report.get_future();
        if (report.wait_for(std::chrono::seconds(20)) != std::future_status::ready) return {Outcome::kFailed, "none"};
        return report.get();
    }

    WSADATA m_winsock = {};
    int m_started = WSAStartup(MAKEWORD(2, 2), &m_winsock);
    std::promise<std::pair<Outcome, std::string>> m_report;
    std::atomic<int> m_reports{0};
    std::optional<BrowserLogin> m_login;
    std::string m_port;
    std::string m_state;
};

TEST_F(BrowserLoginTest, OnlyTheRightAnswerCountsAndOnlyOnce) {
    ASSERT_NO_FATAL_FAILURE(Start());
    const std::string good = "/signed-in?state=" + m_state + "&token=forged";
    std::string wrongState = good;
    wrongState[17] = wrongState[17] == '0' ? '1' : '0';
    const std::string host = "\r\nHost: 127.0.0.1:" + m_port;
    const struct {
        const char* name;
        std::string bytes;
        const char* status;
    } cases[] = {
        {"wrong state", Get(wrongState), "HTTP/1.1 410"},
        {"no state", Get("/signed-in?token=forged"), "HTTP/1.1 410"},
        {"shortened state", Get("/signed-in?token=forged&state=" + m_state.substr(1)), "HTTP/1.1 410"},
        {"state twice", Get(good + "&state=" + m_state), "HTTP/1.1 410"},
        {"bad escape", Get("/signed-in?token=forged&state=" + m_state + "%4"), "HTTP/1.1 410"},
        {"other path", Get("/" + good), "HTTP/1.1 404"},
        {"last page too early", Get("/done"), "HTTP/1.1 404"},
        {"other method", "POST " + good + " HTTP/1.1" + host + "\r\n\r\n", "HTTP/1.1 405"},
        {"rebound name", "GET " + good + " HTTP/1.1\r\nHost: evil.example:" + m_port + "\r\n\r\n", "HTTP/1.1 400"},
        {"two hosts", "GET " + good + " HTTP/1.1" + host + host + "\r\n\r\n", "HTTP/1.1 400"},
        {"no host", "GET " + good + " HTTP/1.1\r\n\r\n", "HTTP/1.1 400"},
        {"no request", std::string("\x16\x03\x01\0\r\n\r\n", 8), "HTTP/1.1 400"},
        {"endless header", "GET " + good + " HTTP/1.1" + host + "\r\nA: " + std::string(100000, 'a'), "HTTP/1.1 431"},
    };
    for (const auto& each : cases) EXPECT_EQ(Status(Ask(each.bytes)), each.status) << each.name;

    // More than the listener keeps, each with half a request.
    std::vector<std::unique_ptr<Client>> silent;
    for (int i = 0; i < 60; ++i) silent.emplace_back(std::make_unique<Client>(m_port))->Send("GET /signed-in?sta");
    EXPECT_EQ(m_reports, 0);

    const Client slow(m_port);
    const std::string request = Get("/signed-in?state=" + m_state + "&token=a%2Db");
    for (char c : request) slow.Send(std::string(1, c));
    const std::string reply = slow.Reply();
    EXPECT_EQ(Status(reply), "HTTP/1.1 303");
    for (const char* header : {"Location: /done\r\n", "Cache-Control: no-store\r\n", "Referrer-Policy: no-referrer\r\n",
                               "X-Frame-Options: DENY\r\n"}) {
        EXPECT_NE(reply.find(header), std::string::npos) << header;
    }
    EXPECT_EQ(Report(), std::pair(Outcome::kToken, std::string("a-b")));
    EXPECT_EQ(Status(Answer("&token=second")), "HTTP/1.1 410");
    const std::string page = Ask(Get("/done"));
    EXPECT_EQ(Status(page), "HTTP/1.1 200");
    EXPECT_NE(page.find("You are signed in."), std::string::npos);

    const ULONGLONG before = GetTickCount64();
    m_login.reset();  // with the silent clients still there
    EXPECT_LT(GetTickCount64() - before, 5000u);
    EXPECT_EQ(m_reports, 1);
}

TEST_F(BrowserLoginTest, TellsHowALoginEnded) {
    const struct {
        const char* parameters;
        Outcome outcome;
        const char* page;
    } cases[] = {
        {"&error=cancelled", Outcome::kCancelled, "was cancelled"},
        {"&error=other", Outcome::kFailed, "failed"},
        {"&token=", Outcome::kFailed, "failed"},
        {"&token=a%0D%0Ab", Outcome::kFailed, "failed"},
        {"&token=a&token=b", Outcome::kFailed, "failed"},
        {"&token=0123456789012345678901234567890123456789012345678901234567890123", Outcome::kFailed, "failed"},
    };
    for (const auto& each : cases) {
        m_report = {};
        ASSERT_NO_FATAL_FAILURE(Start());
        EXPECT_EQ(Status(Answer(each.parameters)), "HTTP/1.1 303") << each.parameters;
        EXPECT_EQ(Report(), std::pair(each.outcome, std::string())) << each.parameters;
        EXPECT_NE(Ask(Get("/done")).find(each.page), std::string::npos) << each.parameters;
    }
    m_report = {};
    ASSERT_NO_FATAL_FAILURE(Start(std::chrono::milliseconds(50)));
    EXPECT_EQ(Report().first, Outcome::kExpired);
    EXPECT_NE(Answer("&token=late").find("This sign-in has expired."), std::string::npos);
    m_login.reset();
    EXPECT_EQ(m_reports, 7);
}

}  // namespace
}  // namespace qsn::test
