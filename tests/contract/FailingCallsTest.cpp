#include <gtest/gtest.h>

#include <atomic>
#include <map>

#include "support/FailingCalls.h"
#include "support/Fakes.h"
#include "support/ProcessState.h"
#include "support/SessionTest.h"

namespace {

using namespace qsn::test;
using Kind = FailingCalls::Kind;

const char* NameOf(Kind kind) { return kind == Kind::kAllocation ? "allocation" : "call"; }

// All of the first calls fail in turn, then every seventh: a renewal makes hundreds, and each round takes a while.
constexpr unsigned kEachUpTo = 40;
constexpr unsigned kStride = 7;
constexpr char kRefreshToken[] = "refresh-ada";
constexpr char kTokenToKeep[] = "a-token-to-keep";

// What is done while calls fail. `run` is true if all of it succeeded.
class FailingCallsTest : public SessionTest {
public:
    using Held = std::map<std::string, long>;
    struct Scenario {
        const char* name;
        void (FailingCallsTest::*prepare)();
        bool (FailingCallsTest::*run)();
        unsigned leastRounds;  // with fewer, the scenario has not really run
    };

    void SetUp() override {
        Server().Accounts().Use([](auto& accounts) { accounts.users[0].refreshTokens = {kRefreshToken}; });
    }

    // If a request was accepted, its callback comes, whatever became of the request.
    bool IsReported(HRESULT posted, int action) {
        if (FAILED(posted)) return false;
        const int result = m_callback.ResultOf(action);
        EXPECT_NE(result, -1) << "no callback of action " << action;
        return result == QSN_CALLBACK_OK;
    }

    void NoObject() { m_qsn.reset(); }
    bool Start() {
        void* object = nullptr;
        const HRESULT hr = m_library.Factory()(&object);
        if (FAILED(hr)) return false;
        m_qsn.reset(static_cast<IPVSubscription2*>(object));
        if (m_qsn->Init(L"SID-TEST", &m_callback) != S_OK) return false;
        return GetSignInUrl(*m_qsn) == S_OK;  // includes what the worker thread does first
    }
    void Session() {
        if (!m_qsn) m_qsn = Create(m_library);
        m_qsn->Init(L"SID-TEST", &m_callback);
    }
    bool Request() {
        const bool signedIn = IsReported(m_qsn->SignIn(kToken), QSN_ACTION_SIGNIN_RESULT);
        const bool read = IsReported(m_qsn->GetUserInfo(), QSN_ACTION_GET_USERINFO_RESULT);
        const bool logged = m_orb.Record().find(L"GetUserInfo, Server result") != std::wstring::npos;
        if (m_kind == Kind::kAllocation) {
            EXPECT_EQ(logged, read) << "who could not read a reply knows nothing of its result";
        }
        m_orb.Reset();
        return read && signedIn;
    }
    void HoldEndingToken() {
        m_ending = Server().IssueMemberToken("20417", 10s);
        SharedValues::WriteToken("mTok", m_ending);
    }
    void TokensToRenew() {
        Session();
        HoldEndingToken();
        SharedValues::WriteProtected("rTok", kRefreshToken);
        SharedValues::Delete("pubK");
        m_qsn->SignIn(kToken);
        m_callback.WaitFor(QSN_ACTION_SIGNIN_RESULT);
    }
    bool Renewal() {
        const auto before = SharedValues::Read("mTok");
        const bool listed = IsReported(m_qsn->GetProductListV2(), QSN_ACTION_GET_PRODUCTLIST_V2_RESULT);
        for (const auto& request : Server().TakeRequests()) {
            EXPECT_EQ(request.body.find(m_ending), std::string::npos) << "the old token goes out as if renewed";
        }
        return listed && SharedValues::Read("mTok") != before;
    }
    bool StoreWrite() {
        const HRESULT member = SetToken(*m_qsn, QSNCFG_SET_MEMBER_TOKEN, kTokenToKeep);
        const HRESULT refresh = SetToken(*m_qsn, QSNCFG_SET_REFRESH_TOKEN, kTokenToKeep);
        return member == S_OK && refresh == S_OK;
    }
    // The session ends while the watcher and the sign-in are still at work.
    bool End() {
        const bool watched = SetNumber(*m_qsn, QSNCFG_ENABLE_SINGLE_SIGNON) == S_OK;
        const bool signedIn = IsReported(m_qsn->SignIn(kToken), QSN_ACTION_SIGNIN_RESULT);
        const HRESULT hr = m_qsn->Uninit();
        EXPECT_EQ(m_callback.References(), 1) << "whatever fails, the host's callback is let go";
        return hr == S_OK && watched && signedIn;
    }

    // The failing try, and the next one, which has to succeed. Gives the function that failed, null if none did.
    const char* Round(const Scenario& scenario, Kind kind, unsigned n) {
        (this->*scenario.prepare)();
        m_kind = kind;
        m_calls.FailNth(kind, n);
        (this->*scenario.run)();
        const char* const failed = m_calls.Stop();
        (this->*scenario.prepare)();
        EXPECT_TRUE((this->*scenario.run)()) << "the next try, after " << (failed ? failed : "nothing") << " failed";
        m_qsn.reset();  // libcrypto's record of errors goes with the worker
        return failed;
    }
    // The worker lets go of a task a moment after its callback.
    bool HoldsNoMoreThan(const Held& before) {
        return Eventually([&] { return (m_held = FailingCalls::Held()) == before; }, 300);
    }

    // Until n is beyond all calls of the scenario.
    void FailOneAfterAnother(const Scenario& scenario, Kind kind) {
        Round(scenario, kind, 0);
        HoldsNoMoreThan({});
        unsigned rounds = 0;
        for (unsigned n = 1; !HasFailure(); n += n < kEachUpTo ? 1 : kStride, ++rounds) {
            const Held before = m_held;
            const char* const failed = Round(scenario, kind, n);
            if (!failed) break;
            SCOPED_TRACE(testing::Message() << scenario.name << ", " << NameOf(kind) << " " << n << ", " << failed);
            if (HoldsNoMoreThan(before)) continue;
            // What is kept once and for good is not a leak. What is kept again for the same failure is one.
            const Held once = m_held;
            Round(scenario, kind, n);
            EXPECT_TRUE(HoldsNoMoreThan(once))
                << testing::PrintToString(once) << " became " << testing::PrintToString(m_held);
        }
        EXPECT_GE(rounds, scenario.leastRounds) << scenario.name;
        RecordProperty(std::string(scenario.name) + NameOf(kind), static_cast<int>(rounds));
    }

    FakeOrb m_orb;  // the stand-in leaves memory behind each time that it is freed
    FailingCalls m_calls;
    Kind m_kind = Kind::kPlatform;
    Held m_held;
    std::string m_ending;  // the member token that is to be renewed
};

TEST_F(FailingCallsTest, EachEndsInAResultCodeAndLeavesNothing) {
    const Scenario scenarios[] = {
        {"Init", &FailingCallsTest::NoObject, &FailingCallsTest::Start, 12},
        {"Request", &FailingCallsTest::Session, &FailingCallsTest::Request, 30},
        {"Renewal", &FailingCallsTest::TokensToRenew, &FailingCallsTest::Renewal, 40},
        {"StoreWrite", &FailingCallsTest::Session, &FailingCallsTest::StoreWrite, 5},
        {"Uninit", &FailingCallsTest::Session, &FailingCallsTest::End, 3},
    };
    for (const Scenario& scenario : scenarios) {
        for (Kind kind : {Kind::kPlatform, Kind::kAllocation}) FailOneAfterAnother(scenario, kind);
    }
}

TEST_F(FailingCallsTest, WhatTheRegistryDoesNotTakeIsNotRenewed) {
    TokensToRenew();
    ASSERT_TRUE(Renewal());
    HoldEndingToken();
    m_calls.FailCallsOf("RegSetValueExA", ERROR_ACCESS_DENIED);
    EXPECT_FALSE(Renewal());
    EXPECT_STREQ(m_calls.Stop(), "RegSetValueExA");
    EXPECT_TRUE(Renewal()) << "the next try works";
}

// Whatever keeps the library from looking at the tokens for a while.
TEST_F(FailingCallsTest, SharedTokensOutOfReachAreNotTakenForGone) {
    const std::pair<const char*, DWORD> obstacles[] = {{nullptr, 0},  // blocks of memory
                                                       {"RegOpenKeyExA", ERROR_ACCESS_DENIED},
                                                       {"RegQueryValueExA", ERROR_KEY_DELETED},
                                                       {"CryptUnprotectData", RPC_S_SERVER_UNAVAILABLE}};
    for (const auto& [call, error] : obstacles) {
        SCOPED_TRACE(call ? call : "memory");
        const auto fail = [&, name = call, code = error] {
            name ? m_calls.FailCallsOf(name, code) : m_calls.FailBlocksOf(1000);
        };
        Session();
        Switch(QSNCFG_ENABLE_SINGLE_SIGNON);
        ASSERT_TRUE(Request());
        ASSERT_TRUE(StoreWrite());
        SharedValues::WriteProtected("rTok", kTokenToKeep);  // encrypted anew, so that the library looks at it again

        fail();
        EXPECT_TRUE(Eventually([&] { return m_calls.Failures() >= 3; })) << "looks at each value, or at one of them";
        SharedValues::Delete("mTok");
        m_calls.Stop();
        EXPECT_EQ(m_callback.ResultOf(QSN_ACTION_NOTIFY), QSN_NOTIFY_MEMBER_TOKEN_CLEAR)
            << "what became of it meanwhile";

        fail();
        uint32_t length = 0;
        EXPECT_LT(m_qsn->Config(QSNCFG_GET_REFRESH_TOKEN, nullptr, &length), 0);
        EXPECT_LT(m_qsn->SignOut(), 0);
        m_calls.Stop();
        EXPECT_EQ(AccessToken(), kToken);
        EXPECT_EQ(m_callback.Pending(), 0u);
        EXPECT_TRUE(SharedValues::Has("SSO"));
        EXPECT_EQ(SharedValues::Decrypt("rTok"), kTokenToKeep);
        m_qsn.reset();
        m_values.Clear();
    }
}

// An exchange that failed for want of memory is over. From then on the end waits for a callback again and does not
// leave it behind like a server.
TEST_F(FailingCallsTest, TheEndWaitsForACallbackAfterAFailedExchange) {
    Session();
    ASSERT_TRUE(Request());
    std::atomic<bool> inside{false};
    std::atomic<bool> left{false};
    m_callback.onEvent = [&](const Event& event, void*) {
        if (event.action != QSN_ACTION_GET_USERINFO_RESULT) return S_OK;
        m_calls.Stop();
        inside = true;
        Sleep(2000);  // longer than the end waits for an exchange
        left = true;
        return S_OK;
    };
    m_calls.FailBlocksOf(8000);
    Server().Rules().Once({.body = std::string(9000, ' ')});
    ASSERT_EQ(m_qsn->GetUserInfo(), S_OK);
    ASSERT_TRUE(Eventually([&] { return inside.load(); }));
    EXPECT_EQ(m_qsn->Uninit(), S_OK);
    EXPECT_EQ(m_calls.Failures(), 1u);
    EXPECT_TRUE(left);
}

}  // namespace
