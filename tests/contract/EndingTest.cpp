#include <winsock2.h>
#include <gtest/gtest.h>
#include <ws2tcpip.h>

#include <atomic>
#include <random>
#include <thread>

#include "service/net/ProxySetting.h"
#include "support/Fakes.h"
#include "support/ImportTable.h"
#include "support/ProcessState.h"
#include "support/Resources.h"
#include "support/SessionTest.h"

namespace {

using namespace qsn::test;
using namespace qsn::service;

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
};

TEST_F(Ending, InsideTheCallbackWhatWaitsFailsAtOnceAndTheRestWorks) {
    const ULONGLONG start = GetTickCount64();
    InsideTheCallback([&] {
        char text[256] = {};
        uint32_t length = 0;
        EXPECT_EQ(m_qsn->GetAccessToken(text, sizeof(text), &length), QSN_RETURN_E_TIMEOUT);
        EXPECT_EQ(GetSignInUrl(*m_qsn), QSN_RETURN_E_TIMEOUT);
        for (int item : {QSNCFG_SET_LANGUAGE, QSNCFG_SET_PLATFORM_INFO, QSNCFG_SET_EXTEND_DATA,
                         QSNCFG_ENABLE_CHECK_TOKEN_ROUTINE, QSNCFG_USE_TESTBED, QSNCFG_GI_QUERY, QSNCFG_GI_LOG}) {
            EXPECT_EQ(m_qsn->Config(item, text, nullptr), QSN_RETURN_E_TIMEOUT) << item;
        }
        EXPECT_EQ(m_qsn->GetProductList(), S_OK);
        EXPECT_EQ(SetToken(*m_qsn, QSNCFG_SET_MEMBER_TOKEN, "from-inside"), S_OK);
        EXPECT_EQ(GetToken(*m_qsn, QSNCFG_GET_MEMBER_TOKEN), "from-inside");
        for (uint32_t onOff : {1u, 0u}) Switch(QSNCFG_ENABLE_SINGLE_SIGNON, onOff);
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
        SetUp();
    }
    EXPECT_EQ(m_callback.Pending(), 0u) << "of what was queued nothing is heard";
    before.ExpectNoMore();
}

TEST_F(Ending, TheLastReleaseAndTheDllMayGoInsideTheCallback) {
    m_qsn.reset();
    const auto round = [this] {
        auto library = std::make_unique<Library>();
        m_qsn = Create(*library);
        SetUp();
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

// Ends the session on a thread of its own, and returns once the session takes no more requests.
std::thread EndAside(IPVSubscription2& qsn, std::function<void()> end) {
    std::thread ending(std::move(end));
    EXPECT_TRUE(Eventually([&] { return qsn.Stop() == QSN_RETURN_E_NOT_INITIALIZED; }));
    return ending;
}

TEST_F(Ending, AReplyInTimeIsToldAndLoggedAsEver) {
    const std::tuple<const char*, int, HRESULT (*)(IPVSubscription2&), int, std::wstring> rows[] = {
        {"getUserInfo", QSN_ACTION_GET_USERINFO_RESULT, [](auto& qsn) { return qsn.GetUserInfo(); }, 0, L"GetUserInfo"},
        {"signOut", QSN_ACTION_SIGNOUT_RESULT, [](auto& qsn) { return qsn.SignOut(); }, 10, L"OnlineSignOut"},
    };
    for (const auto& [type, action, start, result, name] : rows) {
        FakeOrb log;
        m_qsn->Uninit();
        SetUp();
        SignIn();
        const auto gate = std::make_shared<const ReplyGate>();
        const int serverResult = result == 0 ? 0 : 6;
        Server().Rules().Once({.result = serverResult, .gate = gate}, {.requestType = type});
        ASSERT_EQ(start(*m_qsn), S_OK);
        ASSERT_TRUE(gate->WaitForRequest(10s));
        std::thread ending = EndAside(*m_qsn, [&] { EXPECT_EQ(m_qsn->Uninit(), S_OK); });
        gate->Open();
        ending.join();
        EXPECT_EQ(m_callback.ResultOf(action), result) << type;
        const std::wstring last =
            name + L", Server result = " + std::to_wstring(serverResult) + L"\n\nLog QSN1.0 QSN Uninit\nUninit 0\n";
        EXPECT_TRUE(log.Record().ends_with(last)) << type;
        SetUp();
    }
}

TEST_F(Ending, ACallbackMayUseTheObjectUntilItReturns) {
    IPVSubscription2& qsn = *m_qsn;
    std::thread releasing;
    m_callback.onEvent = [&](const Event& event, void*) {
        if (event.action != QSN_ACTION_SIGNIN_RESULT) return S_OK;
        releasing = EndAside(qsn, [&] { m_qsn.reset(); });
        EXPECT_EQ(SetToken(qsn, QSNCFG_SET_MEMBER_TOKEN, "from-inside"), S_OK);
        EXPECT_EQ(GetToken(qsn, QSNCFG_GET_MEMBER_TOKEN), "from-inside");
        EXPECT_EQ(SetNumber(qsn, QSNCFG_ENABLE_SINGLE_SIGNON), QSN_RETURN_E_NOT_INITIALIZED);
        return S_OK;
    };
    ASSERT_EQ(qsn.SignIn(kToken), S_OK);
    ASSERT_TRUE(m_callback.WaitFor(QSN_ACTION_SIGNIN_RESULT));
    EXPECT_TRUE(Eventually([&] { return m_callback.References() == 1; }));
    releasing.join();
}

// What the system does if the name server never answers.
std::atomic<std::size_t> g_namesAsked{0};
int WSAAPI AskForName(PCWSTR, PCWSTR, DWORD, LPGUID, const ADDRINFOEXW*, PADDRINFOEXW*, timeval*,
                      LPOVERLAPPED overlapped, LPLOOKUPSERVICE_COMPLETION_ROUTINE, LPHANDLE cancel) {
    *cancel = overlapped->hEvent;
    ++g_namesAsked;
    return WSA_IO_PENDING;
}
int WSAAPI CancelName(LPHANDLE cancel) { return SetEvent(*cancel) ? NO_ERROR : WSAEINVAL; }

struct SilentNames {
    ProxySetting noProxy{L""};
    ImportHook ask{"GetAddrInfoExW", &AskForName};
    ImportHook cancel{"GetAddrInfoExCancel", &CancelName};
};
std::optional<SilentNames> g_names;

// A kind of silence that a request can meet, from `begin` to the service's reset, and the count of requests that did.
struct Silence {
    const char* name;
    std::function<void()> begin;
    std::function<std::size_t()> count;
};
const Silence kSilences[] = {
    {"service", [] { Server().Rules().Always({.neverReply = true}); }, [] { return Server().Count().requests; }},
    {"drip", [] { Server().Rules().Always({.pieceSize = 1, .pause = 1s}); }, [] { return Server().Count().requests; }},
    {"handshake", [] { Server().SetTlsFault(TlsFault::kSilenceInHandshake); }, [] { return Server().Count().tunnels; }},
    {"proxy", [] { Server().RefuseTunnels(AccountServer::kNoAnswer); },
     [] { return Server().Count().refusedTargets.size(); }},
    {"names", [] { g_names.emplace(); }, [] { return g_namesAsked.load(); }},
};

class EndingInSilence : public testing::TestWithParam<Silence> {
protected:
    EndingInSilence() { TestService::Instance().Reset(); }

    void Begin() {
        ASSERT_EQ(m_qsn->Init(L"SID-TEST", &m_callback), S_OK);
        ASSERT_EQ(m_qsn->SignIn(kToken), S_OK);
        ASSERT_EQ(m_callback.ResultOf(QSN_ACTION_SIGNIN_RESULT), QSN_CALLBACK_OK);
    }
    void AskInSilenceAndEnd(const std::function<void()>& end) {
        Server().DropConnections();
        const std::size_t before = GetParam().count();
        GetParam().begin();
        ASSERT_EQ(m_qsn->GetUserInfo(), S_OK);
        ASSERT_TRUE(Eventually([&] { return GetParam().count() > before; }));
        const ULONGLONG start = GetTickCount64();
        end();
        const ULONGLONG took = GetTickCount64() - start;
        EXPECT_GE(took, 980u) << "a request has a second to end by itself";
        EXPECT_LT(took, 1500u);
        EXPECT_EQ(m_callback.References(), 1);
        EXPECT_EQ(m_callback.Pending(), 0u);
        g_names.reset();
        TestService::Instance().Reset();
    }

    RecordingCallback m_callback;
    LibraryObject m_qsn;
};

TEST_P(EndingInSilence, TakesASecondAndLeavesNothing) {
    const auto round = [this] {
        auto library = std::make_unique<Library>();
        m_qsn = Create(*library);
        Begin();
        AskInSilenceAndEnd([&] { EXPECT_EQ(m_qsn->Uninit(), S_OK); });
        Begin();
        ASSERT_EQ(m_qsn->GetUserInfo(), S_OK);
        EXPECT_EQ(m_callback.ResultOf(QSN_ACTION_GET_USERINFO_RESULT), QSN_CALLBACK_OK);
        AskInSilenceAndEnd([&] { m_qsn.reset(); });
        library.reset();
        EXPECT_EQ(GetModuleHandleW(L"qsn.dll"), nullptr) << "something still holds the DLL";
        Server().DropConnections();
    };
    round();
    const Resources before;
    round();
    before.ExpectNoMore();
}

INSTANTIATE_TEST_SUITE_P(Of, EndingInSilence, testing::ValuesIn(kSilences),
                         [](const auto& row) { return std::string(row.param.name); });

TEST_F(Ending, StopDropsWhatIsQueuedAndLetsTheRunningRequestEnd) {
    SignIn();
    const auto gate = HoldNext("getUserInfo");
    ASSERT_EQ(m_qsn->GetUserInfo(), S_OK);
    ASSERT_TRUE(gate->WaitForRequest(10s));
    ASSERT_EQ(m_qsn->GetUserInfo(), S_OK);
    ASSERT_EQ(m_qsn->Stop(), S_OK);
    gate->Open();
    EXPECT_EQ(m_callback.ResultOf(QSN_ACTION_GET_USERINFO_RESULT), QSN_CALLBACK_OK);
    EXPECT_EQ(AccessToken(), kToken) << "the worker goes on";
    EXPECT_EQ(m_callback.Pending(), 0u);
    EXPECT_EQ(Server().TakeRequests().size(), 1u);
}

TEST_F(Ending, WhoWaitsForARequestThatIsGivenUpIsToldSo) {
    SignIn();
    Server().Rules().Always({.neverReply = true});
    // One thread waits for the request itself, one for a task behind it.
    std::thread asking([&] { EXPECT_EQ(m_qsn->Config(QSNCFG_GI_QUERY, nullptr, nullptr), QSN_RETURN_E_TIMEOUT); });
    ASSERT_TRUE(Server().WaitForRequests(1, 10s));
    std::thread waiting([&] {
        const HRESULT hr = GetSignInUrl(*m_qsn);
        EXPECT_TRUE(hr == QSN_RETURN_E_TIMEOUT || hr == QSN_RETURN_E_NOT_INITIALIZED) << hr;
    });
    EXPECT_EQ(m_qsn->Uninit(), S_OK);
    asking.join();
    waiting.join();
}

// Everything that can be under way at once, ended at a random moment.
void Storm(const Library& library, unsigned seed) {
    std::mt19937 random(seed);
    std::atomic<bool> ending{false}, hasEnded{false};
    RecordingCallback callback;
    callback.onEvent = [&](const Event& event, void*) {
        EXPECT_FALSE(hasEnded) << "callback of action " << event.action << " after the end";
        EXPECT_NE(event.result, QSN_CALLBACK_NETWORK_OR_UNKNOWN) << "the service has answered action " << event.action;
        return S_OK;
    };
    LibraryObject qsn = Create(library);
    ASSERT_EQ(qsn->Init(L"SID-TEST", &callback), S_OK);
    for (int32_t item : {QSNCFG_ENABLE_SINGLE_SIGNON, QSNCFG_ENABLE_CHECK_TOKEN_ROUTINE}) SetNumber(*qsn, item);
    qsn->SignIn(kToken);
    const auto waitForUrls = [&] {
        while (!ending) GetSignInUrl(*qsn);
    };
    std::thread first(waitForUrls), second(waitForUrls);
    for (int i = 0; i < 20; ++i) {
        i % 3 == 0 ? qsn->GetUserInfo() : i % 3 == 1 ? qsn->GetProductListV2() : qsn->SignIn(kToken);
    }
    Sleep(random() % 12);
    const bool byRelease = random() % 2 == 0;
    std::thread stopping([&] {
        while (!ending) qsn->Stop();
    });
    EXPECT_EQ(byRelease ? S_OK : qsn->Uninit(), S_OK);
    // No thread may be inside a method when the last reference goes.
    ending = true;
    for (std::thread* thread : {&stopping, &first, &second}) thread->join();
    qsn.reset();
    hasEnded = true;
    EXPECT_EQ(callback.References(), 1);
}

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
        Storm(library, round);
        Server().TakeRequests();
        orb.Reset();
    }
    if (before) before->ExpectNoMore();
    EXPECT_LT(HeapBytes(), bytes + 100 * (kRounds - kSettling)) << "a byte kept by each round would be many more";
}

}  // namespace
