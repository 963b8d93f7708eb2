#include <gmock/gmock.h>

#include <atomic>
#include <random>
#include <thread>

#include "service/net/ProxySetting.h"
#include "support/Fakes.h"
#include "support/SessionTest.h"

namespace {

using namespace qsn::test;
using namespace qsn::service;
using testing::HasSubstr;
using testing::Not;

constexpr HRESULT kNoReply = E_FAIL;

// How one request ended, and what it brought.
struct Told {
    IQSNRequest* request = nullptr;
    QSN_OUTCOME outcome = {};
    std::string text;
    bool hasData = false;
    DWORD thread = 0;
};

// A host's completion that keeps what it is told.
class Completion final : public IQSNCompletion {
public:
    std::function<void(const Told&)> onTold;  // inside the call

    Completion() = default;
    // The library lets go of it after the call, which a test does not wait for.
    ~Completion() {
        while (references != 1) SwitchToThread();
    }

    HRESULT STDMETHODCALLTYPE Completed(IQSNRequest* request, const QSN_OUTCOME* outcome, void* data) override {
        Told told{request, *outcome, "", data != nullptr, GetCurrentThreadId()};
        if (data && (readsText || outcome->callbackResult == QSN_CALLBACK_NOT_SIGNED_IN))
            told.text = static_cast<const char*>(data);
        if (onTold) onTold(told);
        const std::lock_guard lock(m_lock);
        m_told.push_back(told);
        m_changed.notify_all();
        return S_OK;
    }
    // The first `count` of all that have been told; fewer after a while.
    std::vector<Told> Take(std::size_t count, std::chrono::milliseconds patience = 20s) {
        std::unique_lock lock(m_lock);
        m_changed.wait_for(lock, patience, [&] { return m_told.size() >= count; });
        return m_told;
    }
    QSN_OUTCOME Outcome() {
        const std::vector<Told> told = Take(1);
        EXPECT_FALSE(told.empty());
        return told.empty() ? QSN_OUTCOME{} : told.back().outcome;
    }
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID, void**) override { return E_NOINTERFACE; }
    ULONG STDMETHODCALLTYPE AddRef() override { return static_cast<ULONG>(++references); }
    ULONG STDMETHODCALLTYPE Release() override { return static_cast<ULONG>(--references); }

    bool readsText = false;
    std::atomic<long> references{1};

private:
    std::mutex m_lock;
    std::condition_variable m_changed;
    std::vector<Told> m_told;
};

using RequestObject = std::unique_ptr<IQSNRequest, ObjectReleaser>;

class Requests : public SessionTest {
protected:
    void SetUp() override {
        SessionTest::SetUp();
        void* found = nullptr;
        ASSERT_EQ(m_qsn->QueryInterface(IID_IQSNRequests, &found), S_OK);
        m_requests.reset(static_cast<IQSNRequests*>(found));
    }
    static QSN_REQUEST Ask(uint32_t kind, uint32_t timeLimit = 0, const char* text = nullptr) {
        return {sizeof(QSN_REQUEST), kind, timeLimit, 0, text, 0, 0};
    }
    static QSN_REQUEST Item(int32_t item, const char* text, uint32_t value = 0) {
        return {sizeof(QSN_REQUEST), QSN_REQUEST_CONFIG, 0, item, text, value, 0};
    }
    RequestObject Start(const QSN_REQUEST& request, Completion& completion) {
        IQSNRequest* started = nullptr;
        EXPECT_EQ(m_requests->Start(&request, &completion, &started), S_OK);
        return RequestObject(started);
    }
    Told Run(const QSN_REQUEST& request, bool readsText = false) {
        Completion completion;
        completion.readsText = readsText;
        const RequestObject started = Start(request, completion);
        const std::vector<Told> told = completion.Take(1);
        EXPECT_EQ(told.size(), 1u);
        return told.empty() ? Told{} : told[0];
    }
    HRESULT RunResult(const QSN_REQUEST& request) { return Run(request).outcome.result; }
    // A request that the service holds until the gate is opened.
    std::pair<RequestObject, std::shared_ptr<const ReplyGate>> StartHeld(Completion& completion, uint32_t limit = 0) {
        auto gate = HoldNext("getUserInfo");
        RequestObject request = Start(Ask(QSN_REQUEST_GET_USERINFO, limit), completion);
        EXPECT_TRUE(gate->WaitForRequest(20s));
        return {std::move(request), gate};
    }

    std::unique_ptr<IQSNRequests, ObjectReleaser> m_requests;
};

TEST_F(Requests, DoWhatTheMethodsDoAndTellOnlyTheirOwnCompletion) {
    Told told = Run(Ask(QSN_REQUEST_SIGNIN));
    EXPECT_EQ(told.outcome.callbackResult, QSN_CALLBACK_NOT_SIGNED_IN);
    EXPECT_EQ(told.outcome.result, QSN_RETURN_E_NO_TOKEN);
    EXPECT_EQ(told.text, Run(Ask(QSN_REQUEST_GET_SIGNIN_URL), true).text);
    EXPECT_THAT(told.text, HasSubstr("?SID=SID-TEST"));
    EXPECT_EQ(RunResult(Ask(QSN_REQUEST_GET_USERINFO)), QSN_RETURN_E_NO_TOKEN);
    EXPECT_EQ(RunResult(Ask(QSN_REQUEST_GET_ACCESS_TOKEN)), QSN_RETURN_E_NO_TOKEN);

    EXPECT_EQ(RunResult(Item(QSNCFG_ENABLE_SINGLE_SIGNON, nullptr, 1)), S_OK);
    EXPECT_EQ(RunResult(Ask(QSN_REQUEST_SIGNIN, 0, kToken)), S_OK);
    EXPECT_EQ(Run(Ask(QSN_REQUEST_GET_ACCESS_TOKEN), true).text, kToken);
    for (const auto& [item, language] : {std::pair(QSNCFG_SET_LANGUAGE, "\xc3\xa4"), {QSNCFG_SET_EXTEND_DATA, "more"}})
        EXPECT_EQ(RunResult(Item(item, language)), S_OK);
    EXPECT_EQ(RunResult(Item(QSNCFG_SET_PLATFORM_INFO, nullptr, 1)), S_OK);
    Server().Accounts().Use([](auto& accounts) {
        accounts.users[0].quotas["*"] = {"20270101", 2};
        accounts.users[0].memberTokens = {""};
        accounts.users[0].productsV2 = Json::Value(Json::arrayValue);
    });
    for (const uint32_t kind : {QSN_REQUEST_GET_USERINFO, QSN_REQUEST_GET_PRODUCTLIST, QSN_REQUEST_GET_PRODUCTLIST_V2,
                                QSN_REQUEST_GI_QUERY, QSN_REQUEST_GI_LOG}) {
        told = Run(Ask(kind));
        EXPECT_EQ(told.outcome.result, S_OK) << kind;
        EXPECT_EQ(told.outcome.serverResult, 0);
        EXPECT_EQ(told.outcome.httpStatus, 200u);
        EXPECT_EQ(told.hasData, kind != QSN_REQUEST_GI_LOG) << kind;
    }
    EXPECT_THAT(Server().TakeRequests().front().body, HasSubstr("more"));
    EXPECT_EQ(RunResult(Item(QSNCFG_SET_MEMBER_TOKEN, "m-1")), S_OK);
    EXPECT_EQ(RunResult(Item(QSNCFG_SET_REFRESH_TOKEN, "r-1")), S_OK);
    EXPECT_EQ(Run(Item(QSNCFG_GET_MEMBER_TOKEN, nullptr), true).text, "m-1");
    EXPECT_EQ(Run(Item(QSNCFG_GET_REFRESH_TOKEN, nullptr), true).text, "r-1");

    EXPECT_EQ(RunResult(Ask(QSN_REQUEST_SIGNOUT)), S_OK);
    EXPECT_THAT(Server().TakeRequests().back().body, HasSubstr("r-1"));
    EXPECT_EQ(RunResult(Ask(QSN_REQUEST_GET_ACCESS_TOKEN)), QSN_RETURN_E_NO_TOKEN);
    EXPECT_EQ(Run(Item(QSNCFG_GET_MEMBER_TOKEN, nullptr), true).text, "");
    EXPECT_EQ(Run(Ask(QSN_REQUEST_SIGNIN)).outcome.result, QSN_RETURN_E_NO_TOKEN) << "the shared one is gone, too";
    EXPECT_EQ(m_callback.Pending(), 0u);
}

struct Failure {
    const char* name;
    QSN_OUTCOME expected;  // without its times
    ReplyChange change = {};
    TlsFault tls = TlsFault::kNone;
    const wchar_t* proxy = nullptr;
    bool offline = false;
    bool signedIn = true;
    uint32_t limit = 0;
};
constexpr QSN_OUTCOME Fails(int code, HRESULT result, int server, uint32_t status, uint32_t error, uint32_t canRetry) {
    return {sizeof(QSN_OUTCOME), code, result, server, status, error, 0, 0, canRetry};
}
constexpr int kNone = QSN_NO_SERVER_RESULT;
const Failure kFailures[] = {
    {"refused", Fails(2, static_cast<HRESULT>(0x84200001), 1, 200, 0, 0), {.result = 1}},
    {"ended", Fails(107, static_cast<HRESULT>(0x80420107), 107, 200, 0, 0), {.result = 107}},
    {"unknown number", Fails(1, E_UNEXPECTED, -1, 200, 0, 0), {.result = -1}},
    {"not JSON", Fails(1, E_INVALIDARG, kNone, 200, 0, 0), {.body = "<html>"}},
    {"no result", Fails(5, static_cast<HRESULT>(0x84200005), kNone, 200, 0, 0), {.body = "{}"}},
    {"wrong digest", Fails(8, static_cast<HRESULT>(0x84200004), 0, 200, 0, 0), {.digest = PairFault::kWrong}},
    {"forbidden", Fails(1, kNoReply, kNone, 403, 0, 0), {.status = 403}},
    {"too many", Fails(1, kNoReply, kNone, 429, 0, 1), {.status = 429}},
    {"unavailable", Fails(1, kNoReply, kNone, 503, 0, 1), {.status = 503}},
    {"cut off", Fails(1, E_UNEXPECTED, kNone, 200, 12030, 1), {.contentLength = 1000, .closeAfterBodyBytes = 8}},
    {"no connection", Fails(1, kNoReply, kNone, 0, 12029, 1), {}, {}, L"127.0.0.1:1"},
    {"no name", Fails(1, kNoReply, kNone, 0, 12007, 1), {}, {}, L""},
    {"bad certificate", Fails(1, kNoReply, kNone, 0, 12037, 0), {}, TlsFault::kExpiredCertificate},
    {"wrong host", Fails(1, kNoReply, kNone, 0, 12038, 0), {}, TlsFault::kOtherHostCertificate},
    {"unknown authority", Fails(1, kNoReply, kNone, 0, 12045, 0), {}, TlsFault::kUnknownAuthority},
    {"handshake", Fails(1, kNoReply, kNone, 0, 12157, 1), {}, TlsFault::kOldProtocolOnly},
    {"offline", Fails(1, kNoReply, kNone, 0, 12163, 1), {}, {}, nullptr, true},
    {"not signed in", Fails(3, QSN_RETURN_E_NO_TOKEN, kNone, 0, 0, 0), {}, {}, nullptr, false, false},
    {"time limit",
     Fails(1, QSN_REQUEST_E_OUT_OF_TIME, kNone, 0, 0, 1),
     {.neverReply = true},
     {},
     nullptr,
     false,
     true,
     50},
};

TEST_F(Requests, SayInDetailWhatWentWrong) {
    FakeNetwork network;
    for (const Failure& failure : kFailures) {
        SCOPED_TRACE(failure.name);
        Run(failure.signedIn ? Ask(QSN_REQUEST_SIGNIN, 0, kToken) : Ask(QSN_REQUEST_SIGNOUT));
        std::optional<ProxySetting> proxy;
        if (failure.proxy) proxy.emplace(failure.proxy);
        if (failure.tls != TlsFault::kNone || failure.proxy) Server().SetTlsFault(failure.tls);  // ends connections
        network.SetAlive(!failure.offline);
        Server().Rules().Always(failure.change, {});
        QSN_OUTCOME outcome = Run(Ask(QSN_REQUEST_GET_USERINFO, failure.limit)).outcome;
        Server().Rules().Clear();
        Server().SetTlsFault(TlsFault::kNone);
        network.SetAlive(true);
        EXPECT_GE(outcome.wireTime, failure.limit);
        outcome.queuedTime = outcome.wireTime = 0;
        const auto fields = [](const QSN_OUTCOME& of) {
            return std::tuple(of.size, of.callbackResult, of.result, of.serverResult, of.httpStatus, of.systemError,
                              of.canRetry);
        };
        EXPECT_EQ(fields(outcome), fields(failure.expected));
    }
}

// Each is told while another is on the wire, and well before the worker's next look at the clock, a second later.
TEST_F(Requests, CancelledOrOutOfTimeTheyEndAtOnceAndAreNotSent) {
    SignIn();
    ASSERT_EQ(RunResult(Ask(QSN_REQUEST_GET_USERINFO)), S_OK) << "no timer of the connecting wakes the worker any more";
    Completion running, queued, limited;
    const auto [slow, gate] = StartHeld(running);
    const auto sent = Server().Count().requests;
    const RequestObject late = Start(Ask(QSN_REQUEST_GET_USERINFO, 200), limited);
    EXPECT_EQ(limited.Take(1, 600ms).size(), 1u);
    QSN_OUTCOME outcome = limited.Outcome();
    EXPECT_EQ(outcome.result, QSN_REQUEST_E_OUT_OF_TIME);
    EXPECT_GE(outcome.queuedTime, 200u);
    EXPECT_EQ(outcome.wireTime, 0u);

    const RequestObject waiting = Start(Ask(QSN_REQUEST_GET_USERINFO), queued);
    EXPECT_EQ(waiting->GetOutcome(&outcome), E_PENDING);
    EXPECT_EQ(waiting->Cancel(), S_OK);
    EXPECT_EQ(waiting->Cancel(), S_FALSE);
    EXPECT_EQ(queued.Take(1, 500ms).size(), 1u);
    EXPECT_EQ(waiting->GetOutcome(&outcome), S_OK);
    EXPECT_EQ(outcome.result, QSN_REQUEST_E_CANCELLED);

    EXPECT_EQ(slow->Cancel(), S_OK);
    EXPECT_EQ(running.Take(1, 500ms).size(), 1u);
    EXPECT_EQ(running.Outcome().result, QSN_REQUEST_E_CANCELLED);
    EXPECT_EQ(running.Outcome().canRetry, 0u);
    EXPECT_EQ(slow->Cancel(), S_FALSE);
    gate->Open();
    EXPECT_EQ(RunResult(Ask(QSN_REQUEST_GET_USERINFO)), S_OK);
    EXPECT_EQ(Server().Count().requests, sent + 1) << "the two that waited were not sent";
}

TEST_F(Requests, EachCompletionBelongsToItsOwn) {
    SignIn();
    Completion completion;
    auto [first, gate] = StartHeld(completion);
    Server().Rules().Once({.result = 6}, {.requestType = "getUserInfo"});
    const RequestObject second = Start(Ask(QSN_REQUEST_GET_USERINFO), completion);
    gate->Open();
    const std::vector<Told> told = completion.Take(2);
    ASSERT_EQ(told.size(), 2u);
    EXPECT_EQ(told[0].request, first.get());
    EXPECT_EQ(told[0].outcome.result, S_OK);
    EXPECT_EQ(told[1].request, second.get());
    EXPECT_EQ(told[1].outcome.serverResult, 6);
    EXPECT_NE(first->GetNumber(), second->GetNumber());
}

// The worker thread tells them while it waits for the network, and the host may do there what it may do in any
// callback.
TEST_F(Requests, AreAllToldBeforeTheSessionEnds) {
    for (const bool inside : {false, true}) {
        SCOPED_TRACE(inside ? "Uninit inside a completion" : "Uninit elsewhere");
        SignIn();
        Completion running, queued, trigger;
        const auto [slow, gate] = StartHeld(running);
        std::atomic<std::size_t> toldByThen{0};
        const auto end = [&] {
            EXPECT_EQ(m_qsn->Uninit(), S_OK);
            toldByThen = running.Take(1, 0s).size() + queued.Take(3, 0s).size();
        };
        trigger.onTold = [&](const Told&) {
            if (inside) end();
        };
        const RequestObject first = Start(Ask(QSN_REQUEST_GET_USERINFO), trigger);
        for (int i = 0; i < 3; ++i) Start(Ask(QSN_REQUEST_GET_USERINFO), queued);
        EXPECT_EQ(first->Cancel(), S_OK);
        trigger.Outcome();
        if (!inside) end();
        EXPECT_EQ(toldByThen, 4u);
        EXPECT_EQ(running.Outcome().result, QSN_REQUEST_E_CANCELLED);
        EXPECT_EQ(queued.Outcome().result, QSN_REQUEST_E_CANCELLED);
        const QSN_REQUEST late = Ask(QSN_REQUEST_GET_USERINFO);
        EXPECT_EQ(m_requests->Start(&late, &queued, nullptr), QSN_RETURN_E_NOT_INITIALIZED);
        gate->Open();
        ASSERT_EQ(m_qsn->Init(L"SID-TEST", &m_callback), S_OK);
    }
}

TEST_F(Requests, DroppedByStopAreCancelled) {
    SignIn();
    Completion running, queued;
    const auto [slow, gate] = StartHeld(running);
    Start(Ask(QSN_REQUEST_GET_USERINFO), queued);
    EXPECT_EQ(m_qsn->Stop(), S_OK);
    EXPECT_EQ(queued.Outcome().result, QSN_REQUEST_E_CANCELLED);
    gate->Open();
    EXPECT_EQ(running.Outcome().result, S_OK);
}

// `Stop` empties the queue at the moment at which the worker wakes up for what was cancelled.
TEST_F(Requests, CancelledAheadOfAStopAreToldNoLater) {
    for (int round = 0; round < 300; ++round) {
        Completion completion;
        Start(Ask(QSN_REQUEST_GET_SIGNIN_URL), completion)->Cancel();
        m_qsn->Stop();
        ASSERT_EQ(completion.Take(1, 5s).size(), 1u) << round;
    }
}

TEST_F(Requests, ThatMakeNoSenseAreRefused) {
    QSN_REQUEST small = Ask(QSN_REQUEST_GET_USERINFO), larger = small;
    --small.size;
    ++larger.size;
    Completion completion;
    EXPECT_EQ(m_requests->Start(nullptr, &completion, nullptr), E_POINTER);
    const std::string longToken(64, 't');
    for (const QSN_REQUEST& request :
         {small, Ask(0), Ask(11), Ask(QSN_REQUEST_SIGNIN, 0, ""), Ask(QSN_REQUEST_SIGNIN, 0, longToken.c_str()),
          Item(QSNCFG_SET_LOG_FOLDER, "x"), Item(QSNCFG_SET_LANGUAGE, nullptr), Item(QSNCFG_GI_LOG, nullptr),
          Item(16, nullptr)}) {
        EXPECT_EQ(m_requests->Start(&request, &completion, nullptr), E_INVALIDARG) << request.kind << request.item;
    }
    EXPECT_EQ(RunResult(larger), QSN_RETURN_E_NO_TOKEN) << "of a host that knows more";
    EXPECT_EQ(m_requests->Start(&larger, nullptr, nullptr), S_OK) << "of one that needs no answer";
    EXPECT_EQ(m_requests->SetLog(nullptr, 0), S_OK);
}

// Of all that goes on at once, each is told once, and nothing is left.
TEST_F(Requests, AreToldExactlyOnceWhateverHappens) {
    constexpr int kThreads = 8, kEach = 1250, kRounds = 5;
    SignIn();
    std::atomic<int> accepted{0};
    Completion completion;
    for (int round = 0; round < kRounds; ++round) {
        std::vector<std::thread> threads;
        threads.reserve(kThreads);
        for (int i = 0; i < kThreads; ++i) {
            threads.emplace_back([&, seed = static_cast<unsigned>(round * kThreads + i)] {
                std::minstd_rand random(seed + 1);
                for (int n = 0; n < kEach / kRounds; ++n) {
                    const QSN_REQUEST request =
                        Ask(random() % 8 == 0 ? QSN_REQUEST_GI_QUERY : QSN_REQUEST_GET_SIGNIN_URL,
                            random() % 4 == 0 ? 1 + random() % 20 : 0);
                    IQSNRequest* started = nullptr;
                    if (m_requests->Start(&request, &completion, &started) != S_OK) continue;
                    ++accepted;
                    if (random() % 3 == 0) started->Cancel();
                    started->Release();
                    if (random() % 200 == 0) m_qsn->Stop();
                }
            });
        }
        // The last rounds end in the middle of it.
        if (round >= 2) m_qsn->Uninit();
        for (std::thread& each : threads) each.join();
        if (round < 2) continue;
        m_qsn->Uninit();
        EXPECT_EQ(static_cast<int>(completion.Take(0).size()), accepted) << "none is told after Uninit";
        ASSERT_EQ(m_qsn->Init(L"SID-TEST", &m_callback), S_OK);
    }
    m_qsn->Uninit();
    EXPECT_EQ(static_cast<int>(completion.Take(0).size()), accepted);
    EXPECT_GT(accepted, kThreads * kEach / 4);
}

class Log final : public IQSNLog {
public:
    HRESULT STDMETHODCALLTYPE Write(const QSN_LOG_RECORD* record) override {
        const std::lock_guard lock(m_lock);
        bytes.append(reinterpret_cast<const char*>(record), record->size);
        records.push_back(*record);
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID, void**) override { return E_NOINTERFACE; }
    ULONG STDMETHODCALLTYPE AddRef() override { return 2; }
    ULONG STDMETHODCALLTYPE Release() override { return 1; }

    std::string bytes;
    std::vector<QSN_LOG_RECORD> records;

private:
    std::mutex m_lock;
};

TEST_F(Requests, LeaveATrailWithoutSecrets) {
    Log log;
    m_qsn->Uninit();
    EXPECT_EQ(m_requests->SetLog(&log, 4), E_INVALIDARG);
    ASSERT_EQ(m_requests->SetLog(&log, QSN_LOG_DETAIL), S_OK);
    ASSERT_EQ(m_qsn->Init(L"SID-TEST", &m_callback), S_OK);
    Run(Ask(QSN_REQUEST_SIGNIN, 0, kToken));
    Run(Ask(QSN_REQUEST_GET_USERINFO));
    SharedValues::WriteToken("mTok", "m-secret");
    Server().Rules().Once({.status = 503}, {});
    Completion completion;
    const RequestObject last = Start(Ask(QSN_REQUEST_GET_PRODUCTLIST), completion);
    completion.Outcome();
    ASSERT_EQ(UserInfoResult(), QSN_CALLBACK_OK);
    m_qsn->Uninit();
    std::vector<uint32_t> events, eventsOfLast;
    for (const QSN_LOG_RECORD& each : log.records) {
        events.push_back(each.event);
        if (each.request == last->GetNumber()) eventsOfLast.push_back(each.event);
    }
    EXPECT_THAT(eventsOfLast, testing::ElementsAre(QSN_LOG_REQUEST_QUEUED, QSN_LOG_REQUEST_BEGUN, QSN_LOG_EXCHANGE,
                                                   QSN_LOG_REQUEST_COMPLETED));
    EXPECT_THAT(events, testing::Contains(QSN_LOG_CALLBACK));
    EXPECT_EQ(events.back(), QSN_LOG_SESSION_ENDED);
    const auto failed = std::ranges::find_if(log.records, [&](const auto& each) {
        return each.event == QSN_LOG_REQUEST_COMPLETED && each.request == last->GetNumber();
    });
    ASSERT_NE(failed, log.records.end());
    EXPECT_EQ(failed->level, static_cast<uint32_t>(QSN_LOG_ERROR));
    EXPECT_EQ(failed->action, QSN_REQUEST_GET_PRODUCTLIST);
    EXPECT_EQ(failed->outcome.httpStatus, 503u);
    for (const char* secret : {kToken, "m-secret", "ada", "20417", "quillfern", "http", "SID-TEST"})
        EXPECT_THAT(log.bytes, Not(HasSubstr(secret)));
    EXPECT_EQ(m_requests->SetLog(nullptr, 0), S_OK);
}

}  // namespace
