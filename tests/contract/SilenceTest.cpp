#include <gtest/gtest.h>

#include <thread>

#include "support/ProcessState.h"
#include "support/ProxySetting.h"
#include "support/SessionTest.h"

namespace {

using namespace std::chrono_literals;
using namespace qsn::test;
using qsn::service::AccountServer;
using qsn::service::TlsFault;

// An application whose request meets silence.
class Asker {
public:
    explicit Asker(const Library& library) : m_qsn(Create(library)) {
        m_callback.onEvent = [this](const Event& event, void*) {
            if (event.action == QSN_ACTION_GET_USERINFO_RESULT) m_end = GetTickCount64();
            return S_OK;
        };
        m_qsn->Init(L"SID-TEST", &m_callback);
        m_qsn->SignIn(kToken);
    }
    template <class Condition>
    void AskUntil(Condition isSilent) {
        m_start = GetTickCount64();
        ASSERT_EQ(m_qsn->GetUserInfo(), S_OK);
        ASSERT_TRUE(Eventually(isSilent));
    }
    void ExpectFailureAfter(std::chrono::milliseconds time) {
        const auto event = m_callback.WaitFor(QSN_ACTION_GET_USERINFO_RESULT, time + 20s);
        ASSERT_TRUE(event);
        EXPECT_EQ(event->result, QSN_CALLBACK_NETWORK_OR_UNKNOWN);
        const auto took = static_cast<long long>(m_end - m_start);
        EXPECT_GE(took, (time - 1s).count());
        EXPECT_LE(took, (time + 5s).count());
        ASSERT_EQ(m_qsn->GetUserInfo(), S_OK);
        EXPECT_EQ(m_callback.ResultOf(QSN_ACTION_GET_USERINFO_RESULT), QSN_CALLBACK_OK) << "the next one";
    }

private:
    RecordingCallback m_callback;
    std::atomic<ULONGLONG> m_start{0};
    std::atomic<ULONGLONG> m_end{0};
    LibraryObject m_qsn;
};

// Side by side, because each takes as long as the library is patient.
TEST(Silence, EndsARequestAfterAWhile) {
    TestService& service = TestService::Instance();
    service.Reset();
    AccountServer& server = service.Server();
    const Library library;
    Asker ofService(library), ofProxy(library), ofHandshake(library);

    server.Rules().Once({.neverReply = true});
    ofService.AskUntil([&] { return server.Count().requests; });
    server.RefuseTunnels(AccountServer::kNoAnswer);
    const std::size_t held = server.Count().refusedTargets.size();
    ofProxy.AskUntil([&] { return server.Count().refusedTargets.size() > held; });
    server.RefuseTunnels(0);
    {
        AccountServer other({.keyFolder = QSN_TEST_KEY_DIR});
        other.SetTlsFault(TlsFault::kSilenceInHandshake);
        std::optional<ProxySetting> setting(std::in_place, 1, "127.0.0.1:" + std::to_string(other.Port()));
        ofHandshake.AskUntil([&] { return other.Count().tunnels; });
        setting.reset();
        ofHandshake.ExpectFailureAfter(30s);
    }
    ofProxy.ExpectFailureAfter(30s);
    ofService.ExpectFailureAfter(60s);
}

}  // namespace
