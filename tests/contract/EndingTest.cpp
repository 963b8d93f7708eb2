#include <gtest/gtest.h>

#include <atomic>
#include <random>
#include <thread>

#include "support/Fakes.h"
#include "support/ProcessState.h"
#include "support/SessionTest.h"
#include "support/SharedValues.h"

namespace {

using namespace std::chrono_literals;
using namespace qsn::test;

wchar_t g_text[] = L"de";
uint32_t g_zero = 0;
uint32_t g_one = 1;

// How a session ends, and what the host may do inside its callback.
class Ending : public SessionTest {
protected:
    // Runs `act` inside the callback of the next user information request.
    void InsideTheCallback(std::function<void()> act) {
        m_callback.onEvent = [act = std::move(act)](const Event& event, void*) {
            if (event.action == QSN_ACTION_GET_USERINFO_RESULT) act();
            return S_OK;
        };
        SignIn();
        ASSERT_EQ(UserInfoResult(), QSN_CALLBACK_OK);
    }

    SharedValues m_values;
};

TEST_F(Ending, WhatWaitsFailsAtOnceInsideTheCallback) {
    const ULONGLONG start = GetTickCount64();
    InsideTheCallback([&] {
        char text[256];
        uint32_t length = 0;
        EXPECT_EQ(m_qsn->GetAccessToken(text, sizeof(text), &length), QSN_RETURN_E_TIMEOUT);
        EXPECT_EQ(m_qsn->GetSignInURL(text, sizeof(text), &length), QSN_RETURN_E_TIMEOUT);
        struct {
            int32_t item;
            void* data;
        } const waiting[] = {{QSNCFG_SET_LANGUAGE, g_text},    {QSNCFG_SET_PLATFORM_INFO, &g_zero},
                             {QSNCFG_SET_EXTEND_DATA, g_text}, {QSNCFG_ENABLE_CHECK_TOKEN_ROUTINE, &g_one},
                             {QSNCFG_USE_TESTBED, &g_zero},    {QSNCFG_GI_QUERY, nullptr},
                             {QSNCFG_GI_LOG, nullptr}};
        for (const auto& each : waiting) {
            EXPECT_EQ(m_qsn->Config(each.item, each.data, nullptr), QSN_RETURN_E_TIMEOUT) << each.item;
        }
    });
    EXPECT_LT(GetTickCount64() - start, 20000u);
}

TEST_F(Ending, WhatOnlyPostsAndTheStoreWorkInsideTheCallback) {
    InsideTheCallback([&] {
        EXPECT_EQ(m_qsn->GetProductList(), S_OK);
        char token[] = "from-inside";
        uint32_t length = sizeof(token) - 1;
        EXPECT_EQ(m_qsn->Config(QSNCFG_SET_MEMBER_TOKEN, token, &length), S_OK);
        char stored[64] = {};
        length = sizeof(stored);
        EXPECT_EQ(m_qsn->Config(QSNCFG_GET_MEMBER_TOKEN, stored, &length), S_OK);
        EXPECT_STREQ(stored, token);
        for (uint32_t* onOff : {&g_one, &g_zero})
            EXPECT_EQ(m_qsn->Config(QSNCFG_ENABLE_SINGLE_SIGNON, onOff, nullptr), S_OK);
    });
    EXPECT_EQ(m_callback.ResultOf(QSN_ACTION_GET_PRODUCTLIST_RESULT), QSN_CALLBACK_OK);
}

TEST_F(Ending, UninitInsideTheCallbackReturnsAndAnotherInitWorks) {
    SignIn();
    ASSERT_EQ(UserInfoResult(), QSN_CALLBACK_OK) << "the service has a thread for the connection now";
    const int threads = ThreadCount();
    for (int round = 0; round < 5; ++round) {
        InsideTheCallback([&] {
            EXPECT_EQ(m_qsn->GetProductList(), S_OK) << "queued, and dropped by the next line";
            EXPECT_EQ(m_qsn->Uninit(), S_OK);
            EXPECT_EQ(m_qsn->GetUserInfo(), QSN_RETURN_E_NOT_INITIALIZED);
        });
        EXPECT_TRUE(Eventually([&] { return m_callback.References() == 1; }));
        ASSERT_EQ(m_qsn->Init(L"SID-TEST", &m_callback), S_OK);
    }
    EXPECT_EQ(m_callback.Pending(), 0u) << "of what was queued nothing is heard";
    EXPECT_TRUE(Eventually([&] { return ThreadCount() <= threads; })) << threads << " became " << ThreadCount();
}

TEST_F(Ending, TheLastReleaseAndTheDllMayGoInsideTheCallback) {
    m_qsn.reset();
    const auto round = [this] {
        auto library = std::make_unique<Library>();
        m_qsn = Create(*library);
        ASSERT_EQ(m_qsn->Init(L"SID-TEST", &m_callback), S_OK);
        InsideTheCallback([&] {
            m_qsn.reset();
            library.reset();
        });
        EXPECT_TRUE(Eventually([&] { return m_callback.References() == 1; }));
    };
    for (int i = 0; i < 5; ++i) round();
    const int handles = HandleCount();
    const int indexes = FreeTlsIndexes();
    for (int i = 0; i < 20; ++i) round();
    EXPECT_TRUE(Eventually([&] { return HandleCount() <= handles + 2; })) << handles << " became " << HandleCount();
    EXPECT_TRUE(Eventually([&] { return FreeTlsIndexes() >= indexes; }));
}

TEST_F(Ending, AServerThatNeverAnswersHoldsNobodyUp) {
    const int threads = ThreadCount();
    Server().Rules().Always({.neverReply = true});
    const auto hangInARequest = [&] {
        SignIn();
        Server().TakeRequests();
        ASSERT_EQ(m_qsn->GetUserInfo(), S_OK);
        ASSERT_TRUE(Server().WaitForRequests(1, 10s));
    };
    const auto expectAQuickEnd = [&](const std::function<void()>& end) {
        const ULONGLONG start = GetTickCount64();
        end();
        EXPECT_LT(GetTickCount64() - start, 2000u);
        EXPECT_EQ(m_callback.References(), 1);
    };
    hangInARequest();
    // One more thread waits for a task that is not going to run.
    std::thread waiting([&] {
        char text[256];
        uint32_t length = 0;
        const HRESULT hr = m_qsn->GetSignInURL(text, sizeof(text), &length);
        EXPECT_TRUE(hr == QSN_RETURN_E_TIMEOUT || hr == QSN_RETURN_E_NOT_INITIALIZED) << hr;
    });
    expectAQuickEnd([&] {
        EXPECT_EQ(m_qsn->Uninit(), S_OK);
        waiting.join();
    });
    ASSERT_EQ(m_qsn->Init(L"SID-TEST", &m_callback), S_OK);
    hangInARequest();
    expectAQuickEnd([&] { m_qsn.reset(); });
    Server().DropConnections();
    EXPECT_TRUE(Eventually([&] { return ThreadCount() <= threads; })) << threads << " became " << ThreadCount();
    EXPECT_EQ(m_callback.Pending(), 0u);
}

// Everything that can be under way at once, ended at a random moment, over and over.
class Storm {
public:
    Storm(const Library& library, unsigned seed) : m_random(seed), m_qsn(Create(library)) {}

    void Run() {
        m_callback.onEvent = [this](const Event& event, void*) {
            EXPECT_FALSE(m_hasEnded) << "callback of action " << event.action << " after the end";
            return S_OK;
        };
        ASSERT_EQ(m_qsn->Init(L"SID-TEST", &m_callback), S_OK);
        m_qsn->Config(QSNCFG_ENABLE_SINGLE_SIGNON, &g_one, nullptr);
        m_qsn->Config(QSNCFG_ENABLE_CHECK_TOKEN_ROUTINE, &g_one, nullptr);
        m_qsn->SignIn(kToken);
        std::vector<std::thread> hosts;
        for (int i = 0; i < 2; ++i) hosts.emplace_back([this] { Wait(); });
        for (int i = 0; i < 20; ++i) Post(i);
        Sleep(m_random() % 12);
        const bool byRelease = m_random() % 2 == 0;
        // Nobody may be inside a method when the last reference goes.
        const HRESULT hr = byRelease ? S_OK : m_qsn->Uninit();
        EXPECT_EQ(hr, S_OK);
        m_ending = true;
        if (byRelease) m_qsn->Stop();
        for (std::thread& host : hosts) host.join();
        m_qsn.reset();
        m_hasEnded = true;
        EXPECT_EQ(m_callback.References(), 1);
    }

private:
    void Wait() {
        while (!m_ending) {
            char text[256];
            uint32_t length = 0;
            m_qsn->GetSignInURL(text, sizeof(text), &length);
        }
    }
    void Post(int i) {
        i % 3 == 0 ? m_qsn->GetUserInfo() : i % 3 == 1 ? m_qsn->GetProductListV2() : m_qsn->SignIn(kToken);
    }

    std::mt19937 m_random;
    RecordingCallback m_callback;
    std::atomic<bool> m_ending{false};
    std::atomic<bool> m_hasEnded{false};
    LibraryObject m_qsn;
};

TEST_F(Ending, AtAnyMomentLeavesNothing) {
    constexpr unsigned kRounds = 2000;
    constexpr unsigned kSettling = 100;
    m_qsn->Uninit();
    Server().Accounts().Use([](auto& accounts) { accounts.users[0].nextVerifyTime = 1; });
    FakeOrb orb;  // loading and freeing the stand-in costs memory of its own
    const Library library;
    int handles = 0;
    int threads = 0;
    std::size_t bytes = 0;
    for (unsigned round = 0; round < kRounds && !HasFailure(); ++round) {
        if (round == kSettling) {
            handles = HandleCount();
            threads = ThreadCount();
            bytes = HeapBytes();
        }
        Storm(library, round).Run();
        Server().TakeRequests();
        orb.Reset();
    }
    EXPECT_TRUE(Eventually([&] { return HandleCount() <= handles + 2; })) << handles << " became " << HandleCount();
    EXPECT_TRUE(Eventually([&] { return ThreadCount() <= threads; })) << threads << " became " << ThreadCount();
    EXPECT_LT(HeapBytes(), bytes + 100 * (kRounds - kSettling)) << "a byte kept by each round would be many more";
}

}  // namespace
