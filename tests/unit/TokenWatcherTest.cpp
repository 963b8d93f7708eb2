#include <gtest/gtest.h>

#include <atomic>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "SwitchedOnTrace.h"
#include "sso/CheckSingleSignOn.h"
#include "support/ProcessState.h"
#include "support/SharedValues.h"

namespace {

using namespace std::chrono_literals;
using qsn::CheckSingleSignOn;
using qsn::StoreStatus;
using qsn::test::SharedValues;

// Each event as in "3 text", or "4" where it brings none.
class RecordingSink final : public qsn::SSOCallback {
public:
    std::function<void()> onEvent;

    HRESULT SSOCallbackEvent(int id, const char* data) override {
        {
            const std::lock_guard lock(m_mutex);
            m_events.push_back(std::to_string(id) + (data ? std::string(" ") + data : ""));
        }
        m_changed.notify_all();
        if (onEvent) onEvent();
        return S_OK;
    }
    // All events up to and with `last`, which is waited for.
    std::vector<std::string> Until(const std::string& last) {
        std::unique_lock lock(m_mutex);
        m_changed.wait_for(lock, 10s, [&] { return !m_events.empty() && m_events.back() == last; });
        return std::exchange(m_events, {});
    }

private:
    std::mutex m_mutex;
    std::condition_variable m_changed;
    std::vector<std::string> m_events;
};

using Events = std::vector<std::string>;

// One check reports in the order "SSO", "mTok", "rTok": an event of the refresh token shows that nothing else was to be
// told in that check.
class TokenWatcher : public testing::Test {
protected:
    SharedValues m_values;
    RecordingSink m_sink;
    CheckSingleSignOn m_store;
};

TEST_F(TokenWatcher, TellsWhatOthersDoAndNothingElse) {
    SharedValues::WriteToken("mTok", "m0");
    m_store.SetRefreshToken({});
    SharedValues::WriteProtected("rTok", "r0");
    ASSERT_EQ(m_store.Init(&m_sink), S_OK);
    EXPECT_EQ(m_sink.Until("5 r0"), (Events{"5 r0"})) << "the first look only takes note of what is not known yet";

    SharedValues::WriteToken("SSO", "s1");
    SharedValues::WriteToken("mTok", "m1");
    SharedValues::WriteProtected("rTok", "r1");
    EXPECT_EQ(m_sink.Until("5 r1"), (Events{"1", "3 m1", "5 r1"}));

    m_store.SetMemberToken("m2");
    m_store.SetSingleSignOnToken({});
    SharedValues::WriteProtected("rTok", "r2");
    EXPECT_EQ(m_sink.Until("5 r2"), (Events{"5 r2"})) << "its own writes are no news";

    SharedValues::WriteToken("SSO", "s2");
    SharedValues::WriteToken("mTok", "m2-extended");
    SharedValues::WriteProtected("rTok", "r");
    EXPECT_EQ(m_sink.Until("5 r"), (Events{"1", "5 r"})) << "an extended token is the same one, a shortened one is not";

    SharedValues::Delete("SSO");
    SharedValues::Delete("mTok");
    SharedValues::Write("rTok", SharedValues::Base64Lines("not decryptable"));
    EXPECT_EQ(m_sink.Until("6"), (Events{"2", "4", "6"}));
    EXPECT_FALSE(SharedValues::Has("rTok"));

    m_store.Uninit();
    SharedValues::WriteToken("SSO", std::string(300, 's'));
    SharedValues::WriteToken("mTok", "");
    SharedValues::WriteProtected("rTok", "r3");
    ASSERT_EQ(m_store.Init(&m_sink), S_OK);
    EXPECT_EQ(m_sink.Until("5 r3"), (Events{"1", "3 ", "5 r3"})) << "what happened meanwhile is told after a restart";
}

TEST_F(TokenWatcher, MayUseTheStoreInItsCallbackWhileUninitIsCalled) {
    m_store.SetMemberToken({});
    ASSERT_EQ(m_store.Init(&m_sink), S_OK);
    qsn::PVEvent inside(qsn::PVEvent::Reset::kManual);
    qsn::PVEvent ending(qsn::PVEvent::Reset::kManual);
    bool insideAtReturn = true;
    m_sink.onEvent = [&] {
        inside.Signal();
        ending.Wait(10000);
        m_store.SetMemberToken({});
        std::string token;
        StoreStatus status{};
        m_store.GetSingleSignOnToken(&token, &status);
        insideAtReturn = false;
    };
    SharedValues::WriteToken("mTok", "m");
    ASSERT_TRUE(inside.Wait(10000));
    ending.Signal();
    EXPECT_EQ(m_store.Uninit(), S_OK);
    EXPECT_FALSE(insideAtReturn) << "no event is under way any more";
    EXPECT_FALSE(SharedValues::Has("mTok"));
}

TEST_F(TokenWatcher, IsOneThreadHoweverOftenItIsStarted) {
    const int before = qsn::test::ThreadCount();
    for (int round = 0; round < 3; ++round) ASSERT_EQ(m_store.Init(&m_sink), S_OK);
    EXPECT_EQ(qsn::test::ThreadCount(), before + 1);
    EXPECT_EQ(m_store.Uninit(), S_OK);
    EXPECT_EQ(m_store.Uninit(), S_OK);
    EXPECT_TRUE(qsn::test::Eventually([&] { return qsn::test::ThreadCount() == before; }));
}

TEST_F(TokenWatcher, IsStartedAndEndedByManyThreadsAtOnce) {
    std::vector<std::thread> threads;
    threads.reserve(3);
    for (int thread = 0; thread < 3; ++thread) {
        threads.emplace_back([&] {
            for (int round = 0; round < 100; ++round) {
                m_store.Init(&m_sink);
                m_store.SetMemberToken("m");
                m_store.Uninit();
            }
        });
    }
    for (std::thread& thread : threads) thread.join();
}

TEST_F(TokenWatcher, TracesItsLife) {
    const qsn::test::SwitchedOnTrace trace;
    {
        CheckSingleSignOn store;
        store.Init(nullptr);
        ASSERT_TRUE(trace.WaitForLine("CheckSingleSignOn thread: start", 10s));
    }
    const std::vector<std::string> expected = {"CheckSingleSignOn::Init", "CheckSingleSignOn thread: start",
                                               "CheckSingleSignOn::Uninit", "CheckSingleSignOn thread: quit"};
    EXPECT_EQ(trace.Lines(), expected);
}

}  // namespace
