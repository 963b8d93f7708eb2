#include "common/BrowserLogin.h"

#include <gmock/gmock.h>

#include <deque>
#include <future>
#include <optional>
#include <regex>
#include <string>

#include "support/PlainClient.h"

namespace {

using namespace qsn::test;
using namespace testing;
using sample::BrowserLogin;
using Outcome = BrowserLogin::Outcome;

class BrowserLoginTest : public Test {
protected:
    void Start(std::chrono::milliseconds timeLimit = BrowserLogin::kTimeLimit) {
        m_report = {};
        m_login.emplace([this](auto outcome, auto& token) { m_report.set_value({outcome, token}); }, timeLimit);
        const std::string address = m_login->AddressToOpen("http://service/login?SID=A");
        const std::regex form(R"(http://service/login\?SID=A&redirect_port=(\d+)&state=(\w{32,}))");
        std::smatch parts;
        ASSERT_TRUE(std::regex_match(address, parts, form)) << address;
        m_port = std::stoi(parts[1]);
        m_state = parts[2];
    }

    std::string Get(const std::string& target) const {
        return "GET " + target + " HTTP/1.1\r\nAccept: */*\r\nhost: " + Host() + "\r\n\r\n";
    }
    std::string Host() const { return "127.0.0.1:" + std::to_string(m_port); }
    std::string Ask(const std::string& bytes) const { return PlainClient::Ask(m_port, bytes); }
    std::string Answer(const std::string& parameters) const {
        return Ask(Get("/signed-in?state=" + m_state + parameters));
    }

    std::pair<Outcome, std::string> Report() {
        auto report = m_report.get_future();
        const bool came = report.wait_for(std::chrono::seconds(20)) == std::future_status::ready;
        return came ? report.get() : std::pair(Outcome::kFailed, std::string("none"));
    }

    std::promise<std::pair<Outcome, std::string>> m_report;  // takes one only
    std::optional<BrowserLogin> m_login;
    int m_port = 0;
    std::string m_state;
};

TEST_F(BrowserLoginTest, OnlyTheRightAnswerCountsAndOnlyOnce) {
    ASSERT_NO_FATAL_FAILURE(Start());
    const std::string good = "/signed-in?state=" + m_state + "&token=forged";
    std::string wrongState = good;
    wrongState[17] = wrongState[17] == '0' ? '1' : '0';
    const std::string host = "\r\nHost: " + Host();
    const std::tuple<const char*, std::string, const char*> cases[] = {
        {"wrong state", Get(wrongState), "HTTP/1.1 410"},
        {"no state", Get("/signed-in?token=forged"), "HTTP/1.1 410"},
        {"shortened state", Get("/signed-in?token=forged&state=" + m_state.substr(1)), "HTTP/1.1 410"},
        {"bad escape", Get("/signed-in?token=forged&state=" + m_state + "%4"), "HTTP/1.1 410"},
        {"other path", Get("/" + good), "HTTP/1.1 404"},
        {"last page too early", Get("/done"), "HTTP/1.1 404"},
        {"other method", "POST " + good + " HTTP/1.1" + host + "\r\n\r\n", "HTTP/1.1 405"},
        {"rebound name", "GET " + good + " HTTP/1.1\r\nHost: evil.example\r\n\r\n", "HTTP/1.1 400"},
        {"two hosts", "GET " + good + " HTTP/1.1" + host + host + "\r\n\r\n", "HTTP/1.1 400"},
        {"no request", std::string("\x16\x03\x01\0\r\n\r\n", 8), "HTTP/1.1 400"},
        {"endless header", "GET " + good + " HTTP/1.1" + host + "\r\nA: " + std::string(100000, 'a'), "HTTP/1.1 431"},
    };
    for (const auto& [name, bytes, status] : cases) EXPECT_THAT(Ask(bytes), StartsWith(status)) << name;

    // More than the listener keeps, each with half a request.
    std::deque<PlainClient> silent;
    for (int i = 0; i < 60; ++i) silent.emplace_back(m_port).Send("GET /signed-in?sta");

    const PlainClient slow(m_port);
    const std::string request = Get("/signed-in?state=" + m_state + "&token=a%2Db");
    for (char c : request) slow.Send(std::string(1, c));
    const std::string reply = slow.Reply();
    EXPECT_THAT(reply, AllOf(StartsWith("HTTP/1.1 303"), HasSubstr("\r\nLocation: /done\r\n"),
                             HasSubstr("\r\nCache-Control: no-store\r\n"), HasSubstr("Referrer-Policy: no-referrer")));
    EXPECT_EQ(Report(), std::pair(Outcome::kToken, std::string("a-b")));
    EXPECT_THAT(Answer("&token=second"), StartsWith("HTTP/1.1 410"));
    EXPECT_THAT(Ask(Get("/done")), HasSubstr("You are signed in."));

    const ULONGLONG before = GetTickCount64();
    m_login.reset();  // with the silent clients still there
    EXPECT_LT(GetTickCount64() - before, 5000u);
}

TEST_F(BrowserLoginTest, TellsHowALoginEnded) {
    const std::tuple<std::string, Outcome, const char*> cases[] = {
        {"&error=cancelled", Outcome::kCancelled, "was cancelled"},
        {"&error=other", Outcome::kFailed, "failed"},
        {"&token=a%0D%0Ab", Outcome::kFailed, "failed"},
        {"&token=a&token=b", Outcome::kFailed, "failed"},
        {"&token=" + std::string(64, 'x'), Outcome::kFailed, "failed"},
    };
    for (const auto& [parameters, outcome, page] : cases) {
        ASSERT_NO_FATAL_FAILURE(Start());
        Answer(parameters);
        EXPECT_EQ(Report(), std::pair(outcome, std::string())) << parameters;
        EXPECT_THAT(Ask(Get("/done")), HasSubstr(page)) << parameters;
    }
    ASSERT_NO_FATAL_FAILURE(Start(std::chrono::milliseconds(50)));
    EXPECT_EQ(Report().first, Outcome::kExpired);
    EXPECT_THAT(Answer("&token=late"), HasSubstr("This sign-in has expired."));
}

}  // namespace
