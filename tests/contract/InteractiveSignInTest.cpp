#include <qsn/client/interactive.hpp>

#include <gmock/gmock.h>

#include <atomic>
#include <coroutine>
#include <deque>
#include <future>
#include <regex>
#include <string>

#include "support/ImportTable.h"
#include "support/PlainClient.h"
#include "support/TestService.h"

namespace {

using namespace qsn::test;
using namespace std::chrono_literals;
using namespace testing;
using qsn::Client;
using qsn::Condition;

class InteractiveSignIn : public Test {
protected:
    InteractiveSignIn() {
        TestService::Instance().Reset();
        m_options.productSid = L"SID-TEST";
        m_options.libraryPath = qsn::ToWide(QSN_TEST_DLL);
        m_client = Client::Open(m_options).Get().Value();
    }

    void Start(qsn::InteractiveOptions options = {}) {
        std::promise<std::string> opened;
        options.open = [&opened](const std::string& address) { return opened.set_value(address), qsn::Result<void>(); };
        m_signIn = qsn::SignInInteractive(m_client, options);
        const std::string address = opened.get_future().get();
        const std::regex form(R"(https://.*\?SID=SID-TEST&redirect_port=(\d+)&state=(\w{32,}))");
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
    std::error_code Error() { return m_signIn.WaitFor(20s) ? m_signIn.Get().Error() : std::error_code(); }

    std::atomic<DWORD> m_inExecutor{0};  // before the client, whose last call may end after the test
    qsn::Options m_options;
    Client m_client;
    qsn::Operation<qsn::SignInState> m_signIn;
    int m_port = 0;
    std::string m_state;
};

TEST_F(InteractiveSignIn, OnlyTheRightAnswerCountsAndOnlyOnce) {
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
    EXPECT_THAT(slow.Reply(),
                AllOf(StartsWith("HTTP/1.1 303"), HasSubstr("\r\nLocation: /done\r\n"),
                      HasSubstr("\r\nCache-Control: no-store\r\n"), HasSubstr("Referrer-Policy: no-referrer")));
    EXPECT_THAT(Answer("&token=second"), AllOf(StartsWith("HTTP/1.1 410"), HasSubstr("This sign-in has expired.")));
    EXPECT_THAT(Ask(Get("/done")), HasSubstr("You are signed in."));
    // With the silent clients still there
    ASSERT_TRUE(m_signIn.WaitFor(1500ms));
    EXPECT_TRUE(m_signIn.Get()->signedIn);
    EXPECT_EQ(m_client.AccessToken().Get().Value(), "a-b");
    EXPECT_EQ(Answer("&token=third"), "") << "still listens";
}

TEST_F(InteractiveSignIn, TellsHowItEnded) {
    qsn::InteractiveOptions options;
    options.pages.cancelled = "<b>&\xC3\xA4";
    const std::tuple<std::string, Condition, const char*> cases[] = {
        {"&error=cancelled", Condition::kCancelled, ">&lt;b>&amp;\xC3\xA4<"},
        {"&error=other", Condition::kProtocol, "failed"},
        {"&token=a%0D%0Ab", Condition::kProtocol, "failed"},
        {"&token=a&token=b", Condition::kProtocol, "failed"},
        {"&token=" + std::string(64, 'x'), Condition::kProtocol, "failed"},
    };
    for (const auto& [parameters, kind, page] : cases) {
        ASSERT_NO_FATAL_FAILURE(Start(options));
        Answer(parameters);
        EXPECT_THAT(Ask(Get("/done")), HasSubstr(page)) << parameters;
        EXPECT_EQ(Error(), kind) << parameters;
    }
    options.timeLimit = 50ms;
    ASSERT_NO_FATAL_FAILURE(Start(options));
    EXPECT_EQ(Error(), Condition::kTimedOut);
    EXPECT_EQ(Answer("&token=late"), "") << "still listens";
    EXPECT_EQ(m_client.AccessToken().Get().Error(), Condition::kSignInRequired);
}

TEST_F(InteractiveSignIn, EndsAtOnceWhicheverWayItIsEnded) {
    const std::pair<const char*, std::function<void()>> ways[] = {
        {"cancelled", [this] { m_signIn.Cancel(); }},
        {"client closed", [this] { m_client.Close(10s); }},
        {"client destroyed", [this] { m_client = Client(); }},
    };
    for (const auto& [name, end] : ways) {
        m_client = Client::Open(m_options).Get().Value();
        ASSERT_NO_FATAL_FAILURE(Start());
        const PlainClient silent(m_port);
        silent.Send("GET /signed-in?sta");
        const ULONGLONG before = GetTickCount64();
        end();
        EXPECT_EQ(silent.Reply(), "") << name;
        EXPECT_EQ(Error(), Condition::kCancelled) << name;
        EXPECT_LT(GetTickCount64() - before, 500u) << name;
        EXPECT_EQ(Ask(Get("/done")), "") << name;
    }
    m_client.Close();
    EXPECT_EQ(qsn::SignInInteractive(m_client).Get().Error(), qsn::ErrorOf(QSN_RETURN_E_NOT_INITIALIZED));
}

std::wstring opened;
BOOL WINAPI TakeAddress(SHELLEXECUTEINFOW* call) {
    opened = call->lpFile;
    SetLastError(ERROR_NO_ASSOCIATION);
    return FALSE;
}
int WSAAPI CannotListen(SOCKET, int) { return WSASetLastError(WSAENOBUFS), SOCKET_ERROR; }
PTP_WAIT WINAPI CannotWait(PTP_WAIT_CALLBACK, void*, PTP_CALLBACK_ENVIRON) {
    return SetLastError(ERROR_NOT_ENOUGH_MEMORY), nullptr;
}

struct Coroutine {
    struct promise_type {
        Coroutine get_return_object() { return {}; }
        std::suspend_never initial_suspend() noexcept { return {}; }
        std::suspend_never final_suspend() noexcept { return {}; }
        void return_void() {}
        void unhandled_exception() { std::terminate(); }
    };
};
Coroutine Wait(Client& client, std::promise<std::error_code>& ended) {
    const auto state = co_await qsn::SignInInteractive(client);
    const auto token = co_await client.AccessToken();
    ended.set_value(token ? std::error_code() : state.Error());
}

TEST_F(InteractiveSignIn, SaysWhyItCannotBegin) {
    const auto error = [this] { return qsn::SignInInteractive(m_client).Get().Error(); };
    const auto system = [](int code) { return std::error_code(code, std::system_category()); };
    const ImportHook noBrowser("ShellExecuteExW", &TakeAddress, nullptr);
    std::promise<std::error_code> ended;
    Wait(m_client, ended);
    EXPECT_EQ(ended.get_future().get(), system(ERROR_NO_ASSOCIATION));
    EXPECT_THAT(qsn::ToUtf8(opened), MatchesRegex("https://.*SID=SID-TEST&redirect_port=.*"));
    opened.clear();
    for (const char* address : {"file:///c:/windows/notepad.exe", "notepad.exe", "", "HTTPS.exe", "http:notepad"})
        EXPECT_EQ(qsn::OpenInBrowser(address).Error(), std::errc::invalid_argument) << address;
    EXPECT_EQ(opened, L"");
    {
        const ImportHook hook("listen", &CannotListen, nullptr);
        EXPECT_EQ(error(), system(WSAENOBUFS));
    }
    const ImportHook hook("CreateThreadpoolWait", &CannotWait, nullptr);
    EXPECT_EQ(error(), system(ERROR_NOT_ENOUGH_MEMORY));
}

TEST_F(InteractiveSignIn, CallsTheHostWhereHandlersRun) {
    std::promise<std::exception_ptr> thrown;
    m_options.executor = [this](const std::function<void()>& call) {
        m_inExecutor = GetCurrentThreadId();
        call();
        m_inExecutor = 0;
    };
    m_options.notifications.handlerFailed = [&thrown](const std::exception_ptr& failure) { thrown.set_value(failure); };
    m_client = Client::Open(m_options).Get().Value();
    std::promise<std::pair<std::error_code, bool>> ended;
    qsn::InteractiveOptions options;
    bool openedThere = false;
    options.open = [&](const std::string&) -> qsn::Result<void> {
        openedThere = m_inExecutor == GetCurrentThreadId();
        throw std::runtime_error("no browser");
    };
    qsn::SignInInteractive(m_client, options, [&](const qsn::Result<qsn::SignInState>& state) {
        ended.set_value({state.Error(), m_inExecutor == GetCurrentThreadId()});
    });
    const auto [error, endedThere] = ended.get_future().get();
    EXPECT_TRUE(openedThere);
    EXPECT_TRUE(endedThere);
    EXPECT_EQ(error, Condition::kCancelled);
    EXPECT_THROW(std::rethrow_exception(thrown.get_future().get()), std::runtime_error);
}

}  // namespace
