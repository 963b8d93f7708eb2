#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <random>
#include <thread>

#include "support/Fakes.h"
#include "support/ProcessState.h"
#include "support/Resources.h"
#include "support/SessionTest.h"
#include "support/SharedValues.h"

namespace {

using namespace std::chrono_literals;
using namespace qsn::test;

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

TEST_F(Ending, InsideTheCallbackWhatWaitsFailsAtOnceAndTheRestWorks) {
    const ULONGLONG start = GetTickCount64();
    InsideTheCallback([&] {
        char text[256] = {};
        uint32_t length = 0;
        EXPECT_EQ(m_qsn->GetAccessToken(text, sizeof(text), &length), QSN_RETURN_E_TIMEOUT);
        EXPECT_EQ(m_qsn->GetSignInURL(text, sizeof(text), &length), QSN_RETURN_E_TIMEOUT);
        for (int item : {QSNCFG_SET_LANGUAGE, QSNCFG_SET_PLATFORM_INFO, QSNCFG_SET_EXTEND_DATA,
                         QSNCFG_ENABLE_CHECK_TOKEN_ROUTINE, QSNCFG_USE_TESTBED, QSNCFG_GI_QUERY, QSNCFG_GI_LOG}) {
            EXPECT_EQ(m_qsn->Config(item, text, nullptr), QSN_RETURN_E_TIMEOUT) << item;
        }
        EXPECT_EQ(m_qsn->GetProductList(), S_OK);
        char token[] = "from-inside";
        length = sizeof(token) - 1;
        EXPECT_EQ(m_qsn->Config(QSNCFG_SET_MEMBER_TOKEN, token, &length), S_OK);
        length = sizeof(text);
        EXPECT_EQ(m_qsn->Config(QSNCFG_GET_MEMBER_TOKEN, text, &length), S_OK);
        EXPECT_STREQ(text, token);
        for (uint32_t onOff : {1u, 0u}) EXPECT_EQ(m_qsn->Config(QSNCFG_ENABLE_SINGLE_SIGNON, &onOff, nullptr), S_OK);
    });
    EXPECT_LT(GetTickCount64() - start, 20000u);
    EXPECT_EQ(m_callback.ResultOf(QSN_ACTION_GET_PRODUCTLIST_RESULT), QSN_CALLBACK_OK);
}

TEST_F(Ending, UninitInsideTheCallbackReturnsAndAnotherInitWorks) {
    SignIn();
    ASSERT_EQ(UserInfoResult(), QSN_CALLBACK_OK) << "the service has a thread for the connection now";
    const Resources before;
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
    before.ExpectNoMore();
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
    const Resources before;
    for (int i = 0; i < 20; ++i) round();
    before.ExpectNoMore();
}

TEST_F(Ending, AServerThatNeverAnswersHoldsNobodyUp) {
    SignIn();
    ASSERT_EQ(UserInfoResult(), QSN_CALLBACK_OK) << "what keeps connections has its thread now";
    const int threads = ThreadCount();
    Server().Rules().Always({.neverReply = true});
    const auto expectAQuickEnd = [&](const std::function<void()>& end) {
        ASSERT_TRUE(Server().WaitForRequests(1, 10s));
        const ULONGLONG start = GetTickCount64();
        end();
        EXPECT_LT(GetTickCount64() - start, 2000u);
        EXPECT_EQ(m_callback.References(), 1);
    };
    // One thread waits for the request itself, one for a task behind it.
    Server().TakeRequests();
    std::thread asking([&] { EXPECT_EQ(m_qsn->Config(QSNCFG_GI_QUERY, nullptr, nullptr), QSN_RETURN_E_TIMEOUT); });
    ASSERT_TRUE(Server().WaitForRequests(1, 10s));
    std::thread waiting([&] {
        char text[256];
        uint32_t length = 0;
        const HRESULT hr = m_qsn->GetSignInURL(text, sizeof(text), &length);
        EXPECT_TRUE(hr == QSN_RETURN_E_TIMEOUT || hr == QSN_RETURN_E_NOT_INITIALIZED) << hr;
    });
    expectAQuickEnd([&] {
        EXPECT_EQ(m_qsn->Uninit(), S_OK);
        asking.join();
        waiting.join();
    });
    ASSERT_EQ(m_qsn->Init(L"SID-TEST", &m_callback), S_OK);
    SignIn();
    Server().TakeRequests();
    ASSERT_EQ(m_qsn->GetUserInfo(), S_OK);
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
        uint32_t on = 1;
        m_qsn->Config(QSNCFG_ENABLE_SINGLE_SIGNON, &on, nullptr);
        m_qsn->Config(QSNCFG_ENABLE_CHECK_TOKEN_ROUTINE, &on, nullptr);
        m_qsn->SignIn(kToken);
        std::array<std::thread, 2> hosts;
        for (std::thread& host : hosts) host = std::thread([this] { Wait(); });
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
    std::optional<Resources> before;
    std::size_t bytes = 0;
    for (unsigned round = 0; round < kRounds && !HasFailure(); ++round) {
        if (round == kSettling) {
            before.emplace();
            bytes = HeapBytes();
        }
        Storm(library, round).Run();
        Server().TakeRequests();
        orb.Reset();
    }
    if (before) before->ExpectNoMore();
    EXPECT_LT(HeapBytes(), bytes + 100 * (kRounds - kSettling)) << "a byte kept by each round would be many more";
}

}  // namespace
