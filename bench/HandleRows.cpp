#include <qsn/client.hpp>

#include <memory>
#include <stdexcept>
#include <vector>

#include "Rows.h"
#include "Sections.h"
#include "Session.h"
#include "Utility/ComOwners.h"
#include "support/TestService.h"

namespace qsn::bench {
namespace {

// A host's completion that counts.
class CountingCompletion final : public IQSNCompletion {
public:
    void Expect(int count) { m_missing = count; }
    void Wait() { Require(WaitForSingleObject(m_done.Get(), kLimit) == WAIT_OBJECT_0, "no completion came"); }
    HRESULT LastResult() const { return m_lastResult; }

    HRESULT STDMETHODCALLTYPE Completed(IQSNRequest* /*request*/, const QSN_OUTCOME* outcome, void* /*data*/) override {
        m_lastResult = outcome->result;
        if (--m_missing == 0) SetEvent(m_done.Get());
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID /*iid*/, void** object) override {
        *object = nullptr;
        return E_NOINTERFACE;
    }
    ULONG STDMETHODCALLTYPE AddRef() override { return 1; }
    ULONG STDMETHODCALLTYPE Release() override { return 1; }

private:
    static constexpr DWORD kLimit = 300000;  // ms

    UniqueHandle m_done{CreateEventW(nullptr, FALSE, FALSE, nullptr)};
    std::atomic<int> m_missing{0};
    std::atomic<HRESULT> m_lastResult{E_FAIL};
};

UniqueCom<IQSNRequests> RequestsOf(Session& session) {
    UniqueCom<IQSNRequests> requests;
    Require(session.Qsn().QueryInterface(IID_IQSNRequests, Out(requests)) == S_OK, "no requests");
    return requests;
}

QSN_REQUEST Ask(uint32_t kind) {
    QSN_REQUEST request{};
    request.size = sizeof(request);
    request.kind = kind;
    return request;
}

// The worker is held until all have been cancelled, so that none is carried out.
double TimeOfCancels(int count) {
    Session session;
    const UniqueCom<IQSNRequests> requests = RequestsOf(session);
    CountingCompletion completion;
    std::vector<UniqueCom<IQSNRequest>> started(static_cast<std::size_t>(count));
    const QSN_REQUEST request = Ask(QSN_REQUEST_GET_USERINFO);
    completion.Expect(count);
    session.HoldWorker();
    return TimeOf([&] {
        for (auto& each : started) Require(requests->Start(&request, &completion, Out(each)) == S_OK, "not started");
        for (auto& each : started) each->Cancel();
        session.LetWorkerGo();
        completion.Wait();
    });
}

Pair<Step> ThroughTheClient() {
    test::TestService::Instance();
    qsn::Options options;
    options.productSid = L"SID-BENCH";
    options.libraryPath = qsn::ToWide(QSN_TEST_DLL);
    const auto client = std::make_shared<Client>(Client::Open(options).Get().Value());
    client->SignIn(test::kToken).Get().Value();
    const auto session = std::make_shared<Session>();
    session->SignIn();
    const auto completion = std::make_shared<CountingCompletion>();
    const std::shared_ptr<IQSNRequests> requests(RequestsOf(*session).release(),
                                                 [](IQSNRequests* owned) { owned->Release(); });
    const auto bare = [session, completion, requests] {
        const QSN_REQUEST request = Ask(QSN_REQUEST_GET_USERINFO);
        completion->Expect(1);
        Require(requests->Start(&request, completion.get(), nullptr) == S_OK, "not started");
        completion->Wait();
        Require(completion->LastResult() == S_OK, "the service did not answer");
    };
    return {[client] { client->GetUserInfo().Get().Value(); }, bare};
}

}  // namespace

void AddHandleRows() {
    AddPair({"request-client", "`Client::GetUserInfo`, to the user in a record",
             "`IQSNRequests::Start`, to the completion", "the copy of what came", 1.05},
            {.seconds = 0.3}, ThroughTheClient);
    AddSeries({"grow-cancels",
               "requests started and cancelled, to the last completion",
               {1, 10, 100, 1000, 10000, 100000},
               TimeOfCancels});
}

}  // namespace qsn::bench
