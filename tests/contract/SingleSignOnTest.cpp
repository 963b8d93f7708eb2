#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <sstream>
#include <thread>

#include "support/OtherApplication.h"
#include "support/ProcessState.h"
#include "support/Resources.h"
#include "support/SessionTest.h"

namespace {

using namespace qsn::test;
using Clock = std::chrono::steady_clock;

constexpr wchar_t kApplication[] = L"SingleSignOnChild.DISABLED_Application";

HRESULT EnableSingleSignOn(IPVSubscription2& qsn, uint32_t enable = 1) {
    return SetNumber(qsn, QSNCFG_ENABLE_SINGLE_SIGNON, enable);
}

void WriteWithoutEnd(IPVSubscription2& qsn) {
    for (unsigned round = 0;; ++round) {
        const std::string token = "token-" + std::to_string(round);
        SetToken(qsn, QSNCFG_SET_MEMBER_TOKEN, round % 3 == 2 ? nullptr : token.c_str());
        SetToken(qsn, QSNCFG_SET_REFRESH_TOKEN, round % 5 == 4 ? nullptr : token.c_str());
        if (round == 2) OtherApplication::Reply("writing");
    }
}

// The library as another application of the suite uses it, at the command of the test's own process.
std::string Do(IPVSubscription2& qsn, RecordingCallback& callback, const std::string& command, const char* text) {
    if (command == "init") return std::to_string(qsn.Init(L"OTHER", &callback));
    if (command == "watch") return std::to_string(EnableSingleSignOn(qsn));
    if (command == "signin") return std::to_string(qsn.SignIn(text));
    if (command == "signout") return std::to_string(qsn.SignOut());
    if (command == "member") return std::to_string(SetToken(qsn, QSNCFG_SET_MEMBER_TOKEN, text));
    if (command == "refresh") return std::to_string(SetToken(qsn, QSNCFG_SET_REFRESH_TOKEN, text));
    if (command == "pending") return std::to_string(callback.Pending());
    if (command == "outcome") return std::to_string(callback.ResultOf(std::stoi(text)));
    if (command == "write") WriteWithoutEnd(qsn);
    if (command != "notified") return "unknown command";
    const auto event = callback.WaitFor(QSN_ACTION_NOTIFY);
    return event ? std::to_string(event->result) + " " + event->text : "none";
}

TEST(SingleSignOnChild, DISABLED_Application) {
    RecordingCallback callback;
    const Library library;
    const LibraryObject qsn = Create(library);
    for (std::string line; OtherApplication::NextCommand(&line);) {
        std::istringstream words(line);
        std::string command, text;
        words >> command >> text;
        OtherApplication::Reply(Do(*qsn, callback, command, text.empty() ? nullptr : text.c_str()));
    }
}

// What other applications do to the values.
void ChangeEvery20Milliseconds(const std::stop_token& end) {
    for (unsigned round = 0; !end.stop_requested(); ++round) {
        const std::string token = std::to_string(round) + "-token";
        SharedValues::WriteToken("mTok", token);
        if (round % 2) {
            for (const char* name : {"SSO", "rTok"}) SharedValues::Delete(name);
        } else {
            SharedValues::WriteToken("SSO", token);
            SharedValues::WriteProtected("rTok", token);
        }
        Sleep(20);
    }
}

class SingleSignOn : public SessionTest {
protected:
    // The watcher only notes what it sees for the first time. After a sign-out it knows everything.
    void Watch() {
        ASSERT_EQ(EnableSingleSignOn(*m_qsn), S_OK);
        ASSERT_EQ(m_qsn->SignOut(), S_OK);
        ASSERT_EQ(m_callback.ResultOf(QSN_ACTION_SIGNOUT_RESULT), QSN_CALLBACK_NOT_SIGNED_IN);
    }
    // The next result of `action`, and the time since the other application was told to do it.
    Event Await(int action, Clock::time_point since) {
        const std::optional<Event> event = m_callback.WaitFor(action, 10s);
        EXPECT_TRUE(event) << "action " << action;
        m_latencies.push_back(Clock::now() - since);
        return event.value_or(Event{});
    }
    void ExpectNotification(int id, const char* text, Clock::time_point since) {
        const Event event = Await(QSN_ACTION_NOTIFY, since);
        EXPECT_EQ(event.result, id);
        EXPECT_EQ(event.hasData, text != nullptr);
        EXPECT_EQ(event.text, text ? text : "");
    }

    std::vector<Clock::duration> m_latencies;
};

TEST_F(SingleSignOn, TwoApplicationsFollowEachOther) {
    // At the end both sign out with the same token, in either order.
    Server().Accounts().Use([](auto& accounts) { accounts.users[0].accessTokens[0].permanent = true; });
    OtherApplication other(kApplication);
    ASSERT_EQ(other.Do("init"), "0");
    ASSERT_EQ(other.Do("watch"), "0");
    Watch();

    auto start = Clock::now();
    ASSERT_EQ(other.Do(std::string("signin ") + kToken), "0");
    ASSERT_EQ(other.Do("member m-1"), "0");
    ASSERT_EQ(other.Do("refresh r-1"), "0");
    EXPECT_EQ(Await(QSN_ACTION_SSO_SIGNIN_RESULT, start).result, QSN_CALLBACK_OK);
    EXPECT_EQ(AccessToken(), kToken);
    ExpectNotification(QSN_NOTIFY_MEMBER_TOKEN_SET, "m-1", start);
    ExpectNotification(QSN_NOTIFY_REFRESH_TOKEN_SET, "r-1", start);

    start = Clock::now();
    ASSERT_EQ(other.Do("member"), "0");
    ASSERT_EQ(other.Do("refresh"), "0");
    ExpectNotification(QSN_NOTIFY_MEMBER_TOKEN_CLEAR, nullptr, start);
    ExpectNotification(QSN_NOTIFY_REFRESH_TOKEN_CLEAR, nullptr, start);
    EXPECT_EQ(m_callback.Pending(), 0u);

    // One look tells everything at once, the refresh token last. Once that has come, nothing can be missing.
    ASSERT_EQ(SetToken(*m_qsn, QSNCFG_SET_REFRESH_TOKEN, "from-here"), S_OK);
    EXPECT_EQ(other.Do("notified"), "6 from-here");
    EXPECT_EQ(other.Do("outcome 1"), "0");
    EXPECT_EQ(other.Do("pending"), "0") << "nobody hears of what he did himself";

    start = Clock::now();
    ASSERT_EQ(other.Do("signout"), "0");
    EXPECT_EQ(Await(QSN_ACTION_SSO_SIGNOUT_RESULT, start).result, QSN_CALLBACK_OK);
    EXPECT_EQ(AccessToken(), "");
    EXPECT_EQ(other.Do("outcome 2"), "0");
    for (const char* name : {"SSO", "mTok", "rTok"}) EXPECT_FALSE(SharedValues::Has(name)) << name;

    std::ranges::sort(m_latencies);
    EXPECT_LT(m_latencies[m_latencies.size() / 2], 1500ms);
    RecordProperty("slowestMilliseconds", std::to_string(m_latencies.back() / 1ms));
}

TEST_F(SingleSignOn, AnApplicationKilledWhileItWritesLeavesTheStoreUsable) {
    ASSERT_EQ(EnableSingleSignOn(*m_qsn), S_OK);
    auto other = std::make_unique<OtherApplication>(kApplication);
    for (int round = 0; round < 50; ++round) {
        auto next = std::make_unique<OtherApplication>(kApplication);  // is slow to start
        ASSERT_EQ(other->Do("write"), "writing");
        // Both write for a while that is different each time.
        for (int i = 0; i < round % 7; ++i) SetToken(*m_qsn, QSNCFG_SET_MEMBER_TOKEN, "mine");
        other->Kill();
        const std::string token = std::to_string(round);
        ASSERT_EQ(SetToken(*m_qsn, QSNCFG_SET_MEMBER_TOKEN, token.c_str()), S_OK);
        ASSERT_EQ(SetToken(*m_qsn, QSNCFG_SET_REFRESH_TOKEN, token.c_str()), S_OK);
        ASSERT_EQ(GetToken(*m_qsn, QSNCFG_GET_MEMBER_TOKEN), token);
        ASSERT_EQ(GetToken(*m_qsn, QSNCFG_GET_REFRESH_TOKEN), token);
        other = std::move(next);
    }
    SharedValues::Delete("mTok");
    const auto cleared = [](const auto& event) { return event && event->result == QSN_NOTIFY_MEMBER_TOKEN_CLEAR; };
    EXPECT_TRUE(Eventually([&] { return cleared(m_callback.WaitFor(QSN_ACTION_NOTIFY)); })) << "it still watches";
}

TEST_F(SingleSignOn, IsSwitchedWhileAnotherApplicationChangesTheValues) {
    RecordingCallback watchingCallback;
    const LibraryObject watching = Create(m_library);
    ASSERT_EQ(watching->Init(L"WATCHING", &watchingCallback), S_OK);
    ASSERT_EQ(EnableSingleSignOn(*watching), S_OK);
    const std::jthread changing(ChangeEvery20Milliseconds);
    auto shortest = Clock::duration::max();
    const auto toggle = [&](int rounds) {
        for (int round = 0; round < rounds; ++round) {
            const auto start = Clock::now();
            ASSERT_EQ(EnableSingleSignOn(*m_qsn, 1), S_OK);
            ASSERT_EQ(EnableSingleSignOn(*m_qsn, 0), S_OK);
            shortest = std::min(shortest, Clock::now() - start);
        }
    };
    toggle(20);
    const Resources before;
    toggle(480);
    EXPECT_LT(shortest, 40ms) << "an end must not wait for the watcher to wake up";
    before.ExpectNoMore();
    EXPECT_TRUE(watchingCallback.WaitFor(QSN_ACTION_NOTIFY)) << "the other object has been told meanwhile";
    EXPECT_EQ(watching->Uninit(), S_OK);
}

TEST_F(SingleSignOn, UninitInTheMiddleOfEvents) {
    const std::jthread changing(ChangeEvery20Milliseconds);
    for (int round = 0; round < 2; ++round) {
        std::atomic<bool> told{false};
        m_callback.onEvent = [&](const Event&, void*) {
            told = true;
            SetToken(*m_qsn, QSNCFG_SET_REFRESH_TOKEN, "from-the-callback");
            EnableSingleSignOn(*m_qsn, 1);
            m_qsn->SignOut();
            return S_OK;
        };
        ASSERT_EQ(EnableSingleSignOn(*m_qsn), S_OK);
        ASSERT_TRUE(Eventually([&] { return told.load(); }));
        ASSERT_EQ(m_qsn->Uninit(), S_OK);
        m_callback.onEvent = [](const Event&, void*) -> HRESULT {
            ADD_FAILURE() << "a callback after Uninit";
            return S_OK;
        };
        EXPECT_EQ(EnableSingleSignOn(*m_qsn), QSN_RETURN_E_NOT_INITIALIZED);
        SetUp();
    }
}

}  // namespace
