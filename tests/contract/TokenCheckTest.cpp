#include <gtest/gtest.h>

#include <algorithm>

#include "support/DumpSwitch.h"
#include "support/FailingCalls.h"
#include "support/Fakes.h"
#include "support/ProcessState.h"
#include "support/SessionTest.h"
#include "support/TraceCapture.h"

namespace {

using namespace qsn::test;
using namespace qsn::service;
using Clock = std::chrono::steady_clock;

const RequestMatch kCheck{.requestType = "verifyToken"};

// The service says when a token is to be checked again. The library does so in the background.
class TokenCheck : public SessionTest {
protected:
    void SetUp() override {
        SessionTest::SetUp();
        Switch(QSNCFG_ENABLE_CHECK_TOKEN_ROUTINE);
    }
    void TearDown() override { m_qsn->Uninit(); }
    void VerifyEvery(std::optional<int> seconds) {
        Server().Accounts().Use([&](auto& accounts) { accounts.users[0].nextVerifyTime = seconds; });
    }
    void Revoke() {
        Server().Accounts().Use([](auto& accounts) { accounts.users[0].accessTokens.clear(); });
    }
    // User info is the first reply to bring the time.
    void SignInAndArm() {
        SignIn();
        ASSERT_EQ(UserInfoResult(), QSN_CALLBACK_OK);
    }
    // For as long as the DLL stays loaded.
    void SwitchTracingOn() const {
        const DumpSwitch dump(1);
        Create(m_library);
    }
    int NextCheck(std::chrono::milliseconds timeout = 5s) {
        const auto event = m_callback.WaitFor(QSN_ACTION_CHECK_TOKEN_ROUTINE_RESULT, timeout);
        return event ? event->result : -1;
    }
};

// A check that does not reach the service arms nothing. So the repetition here is the timer's.
TEST_F(TokenCheck, ComesAgainAtTheIntervalThatTheServiceAsksFor) {
    VerifyEvery(1);
    Server().Rules().Times(3, {.status = 503}, kCheck);
    const Clock::time_point start = Clock::now();
    SignInAndArm();
    Clock::time_point last = Clock::now();
    Clock::duration shortest = 1h;
    for (int result : {1, 1, 1, 0}) {
        ASSERT_EQ(NextCheck(), result);
        shortest = std::min(shortest, Clock::now() - std::exchange(last, Clock::now()));
    }
    EXPECT_GE(last - start, 3500ms);
    EXPECT_LT(shortest, 1700ms) << "other work on the machine does not slow all of them down";
}

TEST_F(TokenCheck, EndsWithAValueBelowOneOrOnceSwitchedOff) {
    for (int value : {0, -1, 1}) {
        Switch(QSNCFG_ENABLE_CHECK_TOKEN_ROUTINE, 1);
        VerifyEvery(1);
        SignInAndArm();
        VerifyEvery(value);
        Switch(QSNCFG_ENABLE_CHECK_TOKEN_ROUTINE, value < 1);
        EXPECT_EQ(NextCheck(), QSN_CALLBACK_OK) << "a countdown that runs is not stopped";
        EXPECT_EQ(NextCheck(1300ms), -1) << value;
    }
}

TEST_F(TokenCheck, WithoutNetworkOrTokenNothingIsSent) {
    SwitchTracingOn();
    VerifyEvery(1);
    SignInAndArm();
    Server().TakeRequests();
    FakeNetwork network;
    network.SetAlive(false);
    const TraceCapture trace;
    EXPECT_EQ(NextCheck(), QSN_CALLBACK_NETWORK_OR_UNKNOWN);
    EXPECT_TRUE(trace.WaitForLine("CheckTokenValidCmdProc: no network \n", 0s));
    EXPECT_EQ(AccessToken(), kToken) << "nobody has refused it";
    ASSERT_EQ(m_qsn->SignOut(), S_OK);
    EXPECT_TRUE(m_callback.WaitFor(QSN_ACTION_SIGNOUT_RESULT));
    EXPECT_TRUE(trace.WaitForLine("CheckTokenValidCmdProc: no user token to check \n", 5s));
    EXPECT_EQ(m_callback.Pending(), 0u);
    EXPECT_TRUE(Server().TakeRequests().empty());
}

TEST_F(TokenCheck, WithSingleSignOnTheSharedTokenGoesAndEverybodyHears) {
    SwitchTracingOn();
    Switch(QSNCFG_ENABLE_SINGLE_SIGNON);
    VerifyEvery(1);
    SignInAndArm();
    ASSERT_TRUE(SharedValues::Has("SSO"));
    Revoke();
    const TraceCapture trace;
    EXPECT_EQ(NextCheck(), QSN_CALLBACK_SERVER_RESULT_1);
    EXPECT_TRUE(trace.WaitForLine("Clear SSO token due to server verify token failed\n", 0s));
    EXPECT_FALSE(SharedValues::Has("SSO"));
    const auto signedOut = m_callback.WaitFor(QSN_ACTION_SSO_SIGNOUT_RESULT, 5s);
    ASSERT_TRUE(signedOut) << "by way of the watcher";
    EXPECT_EQ(signedOut->result, QSN_CALLBACK_SERVER_RESULT_1) << "which finds the session with its token";
    EXPECT_EQ(AccessToken(), "");
    EXPECT_EQ(NextCheck(1300ms), -1) << "a refusal ends the routine";
}

// No fault between the library and the service, or of the machine, signs the user out.
TEST_F(TokenCheck, WithoutAnAnswerNobodyLosesAToken) {
    FailingCalls calls;
    const std::tuple<ReplyChange, const char*, int> cases[] = {
        {{.token = PairFault::kOmitted, .digest = PairFault::kOmitted}, "", QSN_CALLBACK_REPLY_NOT_AUTHENTIC},
        {{.digest = PairFault::kWrong}, "", QSN_CALLBACK_REPLY_NOT_AUTHENTIC},
        {{.body = R"({"data":{}})"}, "", QSN_CALLBACK_REPLY_INCOMPLETE},
        {{}, "CryptDecrypt", QSN_CALLBACK_REPLY_NOT_AUTHENTIC},
        {{}, "CryptEncrypt", QSN_CALLBACK_REQUEST_NOT_SIGNED}};
    Switch(QSNCFG_ENABLE_SINGLE_SIGNON);
    VerifyEvery(1);
    for (const auto& [reply, failing, result] : cases) {
        SignInAndArm();
        Server().Rules().Once(reply, kCheck);
        calls.FailCallsOf(failing);
        EXPECT_EQ(NextCheck(), result);
        calls.Stop();
        Server().Rules().Clear();
        EXPECT_TRUE(SharedValues::Has("SSO")) << result << " " << failing;
        EXPECT_EQ(AccessToken(), kToken) << result << " " << failing;
    }
}

TEST_F(TokenCheck, ARefusalIsForTheTokenThatWasChecked) {
    Switch(QSNCFG_ENABLE_SINGLE_SIGNON);
    VerifyEvery(1);
    SignInAndArm();
    Revoke();
    const auto gate = HoldNext("verifyToken");
    ASSERT_TRUE(gate->WaitForRequest(10s));
    ASSERT_EQ(m_qsn->SignIn("token-bo"), S_OK);
    gate->Open();
    EXPECT_EQ(NextCheck(), QSN_CALLBACK_SERVER_RESULT_1);
    EXPECT_EQ(m_callback.ResultOf(QSN_ACTION_SIGNIN_RESULT), QSN_CALLBACK_OK);
    EXPECT_EQ(AccessToken(), "token-bo");
    const auto shared = SharedValues::Read("SSO");
    ASSERT_TRUE(shared);
    EXPECT_EQ(shared->data, SharedValues::Base64Lines("token-bo"));
}

TEST_F(TokenCheck, ARefusedTokenThatIsNotSharedEndsTheSession) {
    const std::pair<const char*, const char*> cases[] = {{nullptr, ""}, {"token-bo", ""}, {kToken, "RegDeleteValueA"}};
    for (const auto& [token, failing] : cases) {
        m_qsn = Create(m_library);
        SetUp();
        m_values.Clear();
        VerifyEvery(1);
        SignInAndArm();
        if (token) SharedValues::WriteToken("SSO", token);
        const auto shared = SharedValues::Read("SSO");
        Switch(QSNCFG_ENABLE_SINGLE_SIGNON);
        Server().Rules().Once({.result = 1}, kCheck);
        FailingCalls calls;
        calls.FailCallsOf(failing);
        EXPECT_EQ(NextCheck(), QSN_CALLBACK_SERVER_RESULT_1);
        calls.Stop();
        EXPECT_EQ(AccessToken(), "");
        EXPECT_EQ(SharedValues::Read("SSO"), shared);
    }
}

TEST_F(TokenCheck, DoesNotPileUpBehindASlowRequest) {
    SwitchTracingOn();
    SignIn();
    for (const char* slow : {"getUserInfo", "verifyToken"}) {
        VerifyEvery(1);
        ASSERT_EQ(UserInfoResult(), QSN_CALLBACK_OK);
        const auto gate = HoldNext(slow);
        if (slow == std::string("getUserInfo")) m_qsn->GetUserInfo();
        ASSERT_TRUE(gate->WaitForRequest(10s));
        VerifyEvery(0);
        const TraceCapture trace;
        EXPECT_TRUE(Eventually([&] {
            return std::ranges::count(trace.Lines(), "RoutineTimerCallbackEvent, ROUTINE_EVENT_CHECK_TOKEN \n") >= 3;
        }));
        Server().TakeRequests();
        gate->Open();
        EXPECT_EQ(NextCheck(), QSN_CALLBACK_OK) << slow;
        AccessToken();  // waits for what was posted
        const auto requests = Server().TakeRequests();
        EXPECT_LE(std::ranges::count(requests, "verifyToken", &RecordedRequest::requestType), 1) << slow;
    }
}

}  // namespace
