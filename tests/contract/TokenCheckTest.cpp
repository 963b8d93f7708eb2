#include <gtest/gtest.h>

#include "support/DumpSwitch.h"
#include "support/Fakes.h"
#include "support/SessionTest.h"
#include "support/SharedValues.h"
#include "support/TraceCapture.h"

namespace {

using namespace std::chrono_literals;
using namespace qsn::test;

// The service says when a token is to be checked again; the library does so in the background.
class TokenCheck : public SessionTest {
protected:
    void SetUp() override {
        SessionTest::SetUp();
        Switch(QSNCFG_ENABLE_CHECK_TOKEN_ROUTINE, 1);
    }
    void TearDown() override { m_qsn->Uninit(); }
    void Switch(int32_t item, uint32_t value) { ASSERT_EQ(m_qsn->Config(item, &value, nullptr), S_OK); }
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
    int NextCheck(std::chrono::milliseconds timeout = 5s) {
        const auto event = m_callback.WaitFor(QSN_ACTION_CHECK_TOKEN_ROUTINE_RESULT, timeout);
        return event ? event->result : -1;
    }

    SharedValues m_values;
};

TEST_F(TokenCheck, ComesAtTheIntervalThatTheServiceAsksFor) {
    VerifyEvery(1);
    SignInAndArm();
    const ULONGLONG start = GetTickCount64();
    for (int firing = 0; firing < 5; ++firing) ASSERT_EQ(NextCheck(), QSN_CALLBACK_OK);
    const ULONGLONG took = GetTickCount64() - start;
    EXPECT_GE(took, 4250u);
    EXPECT_LE(took, 12000u) << "five firings of a second each, on a machine with other work";
}

TEST_F(TokenCheck, EndsWithAValueBelowOne) {
    VerifyEvery(1);
    SignInAndArm();
    for (int value : {0, -1}) {
        VerifyEvery(value);
        ASSERT_EQ(NextCheck(), QSN_CALLBACK_OK) << "the check that brings the value";
        EXPECT_EQ(NextCheck(1200ms), -1) << value;
        VerifyEvery(1);
        ASSERT_EQ(UserInfoResult(), QSN_CALLBACK_OK) << "any reply arms it again";
    }
}

TEST_F(TokenCheck, EndsAtTheNextArmingOnceSwitchedOff) {
    const DumpSwitch dump(1);
    const LibraryObject switchesTracingOn = Create(m_library);
    VerifyEvery(1);
    SignInAndArm();
    Switch(QSNCFG_ENABLE_CHECK_TOKEN_ROUTINE, 0);
    const TraceCapture trace;
    EXPECT_EQ(NextCheck(), QSN_CALLBACK_OK) << "a countdown that runs is not stopped by the switch";
    EXPECT_TRUE(trace.WaitForLine("disable routine timer of checking token, due to AP disable this function\n", 5s));
    EXPECT_EQ(NextCheck(1300ms), -1);
}

TEST_F(TokenCheck, WithoutNetworkOrTokenNothingIsSent) {
    VerifyEvery(1);
    SignInAndArm();
    Server().TakeRequests();
    FakeNetwork network;
    network.SetAlive(false);
    EXPECT_EQ(NextCheck(), QSN_CALLBACK_NETWORK_OR_UNKNOWN);
    EXPECT_EQ(AccessToken(), kToken) << "nobody has refused it";
    ASSERT_EQ(m_qsn->SignOut(), S_OK);
    EXPECT_TRUE(m_callback.WaitFor(QSN_ACTION_SIGNOUT_RESULT));
    EXPECT_EQ(NextCheck(1300ms), -1);
    EXPECT_TRUE(Server().TakeRequests().empty());
}

TEST_F(TokenCheck, WithSingleSignOnTheSharedTokenGoesAndEverybodyHears) {
    Switch(QSNCFG_ENABLE_SINGLE_SIGNON, 1);
    VerifyEvery(1);
    SignInAndArm();
    ASSERT_TRUE(SharedValues::Has("SSO"));
    Revoke();
    EXPECT_EQ(NextCheck(), QSN_CALLBACK_SERVER_RESULT_1);
    EXPECT_FALSE(SharedValues::Has("SSO"));
    EXPECT_TRUE(m_callback.WaitFor(QSN_ACTION_SSO_SIGNOUT_RESULT, 5s)) << "by way of the watcher";
    EXPECT_EQ(AccessToken(), "");
    EXPECT_EQ(NextCheck(1300ms), -1) << "a refusal ends the routine";
}

}  // namespace
