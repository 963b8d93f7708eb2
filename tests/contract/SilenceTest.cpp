#include <gtest/gtest.h>

#include "service/net/ProxySetting.h"
#include "support/ProcessState.h"
#include "support/SessionTest.h"

namespace {

using namespace qsn::test;
using namespace qsn::service;

using Silence = SessionTest;

// Silence of the service, of the proxy and in the handshake, side by side. The library is patient with each.
TEST_F(Silence, EndsARequestAfterAWhile) {
    AccountServer other({.keyFolder = QSN_TEST_KEY_DIR});
    other.SetTlsFault(TlsFault::kSilenceInHandshake);
    RecordingCallback callbacks[3];
    LibraryObject askers[3];
    const ULONGLONG start = GetTickCount64();
    const auto ask = [&](int i, auto isHeldUp) {
        askers[i] = Create(m_library);
        ASSERT_EQ(askers[i]->Init(L"SID-TEST", &callbacks[i]), S_OK);
        askers[i]->SignIn(kToken);
        ASSERT_EQ(askers[i]->GetUserInfo(), S_OK);
        ASSERT_TRUE(Eventually(isHeldUp));
    };
    Server().Rules().Once({.neverReply = true});
    ask(0, [&, before = Server().Count().requests] { return Server().Count().requests > before; });
    Server().RefuseTunnels(AccountServer::kNoAnswer);
    const auto refused = [] { return Server().Count().refusedTargets.size(); };
    ask(1, [&, before = refused()] { return refused() > before; });
    Server().RefuseTunnels(0);
    {
        const ProxySetting toTheOther(L"127.0.0.1:" + std::to_wstring(other.Port()));
        ask(2, [&] { return other.Count().tunnels == 1; });
    }
    for (const auto& [i, patience] : {std::pair(2, 30s), {1, 30s}, {0, 60s}}) {
        SCOPED_TRACE(i);
        const auto event = callbacks[i].WaitFor(QSN_ACTION_GET_USERINFO_RESULT, 100s);
        ASSERT_TRUE(event);
        EXPECT_EQ(event->result, QSN_CALLBACK_NETWORK_OR_UNKNOWN);
        const std::chrono::milliseconds took(GetTickCount64() - start);
        EXPECT_GE(took, patience);
        EXPECT_LE(took, patience + 5s);
        ASSERT_EQ(askers[i]->GetUserInfo(), S_OK);
        EXPECT_EQ(callbacks[i].ResultOf(QSN_ACTION_GET_USERINFO_RESULT), QSN_CALLBACK_OK) << "the next one";
    }
}

}  // namespace
