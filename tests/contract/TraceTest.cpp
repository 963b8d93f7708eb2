#include <gtest/gtest.h>

#include <algorithm>
#include <functional>

#include "support/DumpSwitch.h"
#include "support/SessionTest.h"
#include "support/TraceCapture.h"

namespace {

using namespace std::chrono_literals;
using namespace qsn::test;

// The switch is the process's and never goes back, but it goes with the DLL.
class Trace : public testing::Test {
protected:
    Trace() { TestService::Instance().Reset(); }

    void SignIn() {
        ASSERT_EQ(m_qsn->Init(L"SID", &m_callback), S_OK);
        ASSERT_EQ(m_qsn->SignIn(kToken), S_OK);
        ASSERT_EQ(m_callback.ResultOf(QSN_ACTION_SIGNIN_RESULT), QSN_CALLBACK_OK);
    }
    // All lines of one request, from its first to the last word of its task; `end` ends what went before.
    static std::vector<std::string> LinesOf(const std::function<void()>& act, const char* end) {
        const TraceCapture trace;
        act();
        EXPECT_TRUE(trace.WaitForLine(end, 10s));
        return trace.Lines();
    }
    void SignInWithTrace() {
        m_qsn = Create(m_library);
        // The timer's thread says its word at any moment.
        LinesOf([&] { SignIn(); }, "RoutineTimer thread: start");
    }
    std::vector<std::string> UserInfoLines() {
        char token[64];
        uint32_t length = 0;
        LinesOf([&] { m_qsn->GetAccessToken(token, sizeof(token), &length); },
                "BaseTask::GetAccTokenTask Destroyed.\n");
        return LinesOf([&] { m_qsn->GetUserInfo(); }, "BaseTask::GetUserInfoTask Destroyed.\n");
    }

    RecordingCallback m_callback;
    Library m_library;
    LibraryObject m_qsn;
};

TEST_F(Trace, IsSilentUnlessTheUserSwitchedItOn) {
    for (int value : {DumpSwitch::kAbsent, 0}) {
        const DumpSwitch dump(value);
        const TraceCapture trace;
        m_qsn = Create(m_library);
        SignIn();
        const DumpSwitch late(1);
        m_qsn->Uninit();
        EXPECT_EQ(trace.Lines(), std::vector<std::string>{}) << value;
    }
}

TEST_F(Trace, ShowsOneUserInfoRequestStepByStep) {
    const DumpSwitch dump(1);
    SignInWithTrace();
    EXPECT_EQ(UserInfoLines(), (std::vector<std::string>{
                                   "Get User Info\n",
                                   "BaseTask::GetUserInfoTask Created.\n",
                                   "GetUserInfoCmdProc: start online to get user info \n",
                                   "OnlineGetUserInfo\n",
                                   "OnlineGetUserInfo: GenerateJSONData\n",
                                   "OnlineGetUserInfo: CommunicateToServer\n",
                                   "Start to communicate to Server\n",
                                   "Send data to Server\n",
                                   "Verify digest from Server\n",
                                   "Verify result = 0\n",
                                   "GetUserInfo, Server result = 0\n",
                                   "ServerResult2HRESULT return hr = 0\n",
                                   "OnlineGetUserInfo return hr = 0\n",
                                   "DoCallback: action = 4\n",
                                   "BaseTask::GetUserInfoTask Completed.\n",
                                   "BaseTask::GetUserInfoTask Destroyed.\n",
                               }));
}

TEST_F(Trace, NamesTheFailedCall) {
    const DumpSwitch dump(1);
    SignInWithTrace();
    TestService::Instance().Server().Rules().Once({.status = 503});
    const auto lines = UserInfoLines();
    const auto has = [&](std::string_view start, std::string_view end) {
        return std::ranges::any_of(lines, [&](const auto& l) { return l.starts_with(start) && l.ends_with(end); });
    };
    EXPECT_TRUE(has("HTTP error: code = 503\n", ""));
    EXPECT_TRUE(has("Send http request to server failed hr = 80004005, https://account.quillfern.example/", "\n"));
    EXPECT_TRUE(has("FAILED: 0x80004005 @ QSNThreadContext_ToServer:",
                    " CommunicateToServer(strJsonData, &strServerResponse, &strToken, &strDigest, serverapi)\n"));
}

}  // namespace
