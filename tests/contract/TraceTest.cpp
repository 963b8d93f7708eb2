#include <gtest/gtest.h>

#include <algorithm>

#include "support/DumpSwitch.h"
#include "support/SessionTest.h"
#include "support/TraceCapture.h"

namespace {

using namespace std::chrono_literals;
using namespace qsn::test;

void FetchUserInfo(IPVSubscription2& qsn, RecordingCallback& callback) {
    ASSERT_EQ(qsn.Init(L"SID", &callback), S_OK);
    ASSERT_EQ(qsn.SignIn(kToken), S_OK);
    ASSERT_EQ(qsn.GetUserInfo(), S_OK);
    ASSERT_EQ(callback.ResultOf(QSN_ACTION_GET_USERINFO_RESULT), QSN_CALLBACK_OK);
}

// Returns when the worker has let go of every task, so that their last lines are not mistaken for a later request's.
void LetTheWorkerSettle(IPVSubscription2& qsn) {
    const TraceCapture trace;
    char token[64];
    uint32_t length = 0;
    ASSERT_EQ(qsn.GetAccessToken(token, sizeof(token), &length), S_OK);
    ASSERT_TRUE(trace.WaitForLine("BaseTask::GetAccTokenTask Destroyed.\n", 10s));
}

// The switch is the process's and never goes back, but it goes with the DLL.
class Trace : public testing::Test {
protected:
    Trace() { TestService::Instance().Reset(); }

    RecordingCallback m_callback;
    Library m_library;
};

TEST_F(Trace, IsSilentUnlessTheUserSwitchedItOn) {
    for (int value : {DumpSwitch::kAbsent, 0}) {
        const DumpSwitch dump(value);
        const TraceCapture trace;
        const LibraryObject qsn = Create(m_library);
        FetchUserInfo(*qsn, m_callback);
        const DumpSwitch late(1);
        qsn->Uninit();
        EXPECT_EQ(trace.Lines(), std::vector<std::string>{}) << value;
    }
}

TEST_F(Trace, ShowsOneUserInfoRequestStepByStep) {
    const DumpSwitch dump(1);
    const LibraryObject qsn = Create(m_library);
    FetchUserInfo(*qsn, m_callback);
    LetTheWorkerSettle(*qsn);

    const TraceCapture trace;
    ASSERT_EQ(qsn->GetUserInfo(), S_OK);
    ASSERT_TRUE(trace.WaitForLine("BaseTask::GetUserInfoTask Destroyed.\n", 10s));
    EXPECT_EQ(trace.Lines(), (std::vector<std::string>{
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
    const LibraryObject qsn = Create(m_library);
    FetchUserInfo(*qsn, m_callback);
    LetTheWorkerSettle(*qsn);
    TestService::Instance().Server().Rules().Once({.status = 503});
    const TraceCapture trace;
    ASSERT_EQ(qsn->GetUserInfo(), S_OK);
    ASSERT_TRUE(trace.WaitForLine("BaseTask::GetUserInfoTask Destroyed.\n", 10s));
    const auto lines = trace.Lines();
    const auto has = [&](std::string_view start, std::string_view end) {
        return std::ranges::any_of(lines, [&](const auto& l) { return l.starts_with(start) && l.ends_with(end); });
    };
    EXPECT_TRUE(has("HTTP error: code = 503\n", ""));
    EXPECT_TRUE(has("Send http request to server failed hr = 80004005, https://account.quillfern.example/", "\n"));
    EXPECT_TRUE(has("FAILED: 0x80004005 @ QSNThreadContext_ToServer:",
                    " CommunicateToServer(strJsonData, &strServerResponse, &strToken, &strDigest, serverapi)\n"));
}

TEST_F(Trace, CoversTheLifeOfTheObject) {
    const DumpSwitch dump(1);
    LibraryObject qsn = Create(m_library);
    const TraceCapture trace;
    ASSERT_EQ(qsn->Init(L"SID", &m_callback), S_OK);
    ASSERT_EQ(qsn->Uninit(), S_OK);
    qsn.reset();
    auto lines = trace.Lines();
    for (std::string& line : lines) {
        // The worker's own two lines carry its thread id.
        const std::size_t id = line.find("[0x");
        if (id != std::string::npos) line.replace(id, 12, "[]");
    }
    const auto position = [&](std::string_view line) { return std::ranges::find(lines, line) - lines.begin(); };
    const char* const order[] = {
        "QSN Init \n",
        "ThreadCtx::QSNThreadContext Created.\n",
        "BaseThread::BaseTaskQueue<class QSNThreadContext>::BaseTaskQueue",
        "BaseThread::MainThread<class QSNThreadContext>::MainThread",
        "BaseThread::MainThread<class QSNThreadContext>::ThreadProc[]: start",
        "BaseThread::MainThread<class QSNThreadContext>::ThreadProc[]: quit",
        "BaseThread::MainThread<class QSNThreadContext>::~MainThread",
        "ThreadCtx::QSNThreadContext Destroyed.\n",
    };
    for (std::size_t i = 1; i < std::size(order); ++i)
        EXPECT_LT(position(order[i - 1]), position(order[i])) << order[i];
    EXPECT_LT(position(order[std::size(order) - 1]), std::ssize(lines));
    EXPECT_LT(position("Uninit\n"), position("Stop!!\n"));
}

}  // namespace
