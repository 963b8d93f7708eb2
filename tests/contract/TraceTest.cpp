#include <gmock/gmock.h>

#include <algorithm>
#include <functional>

#include "support/DumpSwitch.h"
#include "support/SessionTest.h"
#include "support/TraceCapture.h"

namespace {

using namespace std::chrono_literals;
using namespace qsn::test;
using namespace testing;
using Lines = std::vector<std::string>;

// The switch is read when the library object is made. It is the process's and never goes back, but it goes with the
// DLL.
class Trace : public SessionTest {
protected:
    void SetUp() override {}
    void Start() {
        m_qsn = Create(m_library);
        SessionTest::SetUp();
        SignIn();
    }
    // All lines of one request, from its first to the last word of its task; `end` ends what went before.
    static Lines LinesOf(const std::function<void()>& act, const char* end) {
        const TraceCapture trace;
        act();
        EXPECT_TRUE(trace.WaitForLine(end, 10s));
        return trace.Lines();
    }
    void StartWithTrace() {
        const DumpSwitch dump(1);
        // The timer's thread says its word at any moment.
        LinesOf([&] { Start(); }, "RoutineTimer thread: start");
    }
    Lines UserInfoLines() {
        LinesOf([&] { AccessToken(); }, "BaseTask::GetAccTokenTask Destroyed.\n");
        return LinesOf([&] { m_qsn->GetUserInfo(); }, "BaseTask::GetUserInfoTask Destroyed.\n");
    }
};

TEST_F(Trace, IsSilentUnlessTheUserSwitchedItOn) {
    for (int value : {DumpSwitch::kAbsent, 0}) {
        const DumpSwitch dump(value);
        const TraceCapture trace;
        Start();
        const DumpSwitch late(1);
        m_qsn->Uninit();
        EXPECT_EQ(trace.Lines(), Lines{}) << value;
    }
}

TEST_F(Trace, ShowsOneUserInfoRequestStepByStep) {
    StartWithTrace();
    const Lines expected = {"Get User Info\n",
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
                            "BaseTask::GetUserInfoTask Destroyed.\n"};
    EXPECT_EQ(UserInfoLines(), expected);
}

TEST_F(Trace, NamesTheOtherOperations) {
    StartWithTrace();
    Server().Accounts().Use([](auto& accounts) { accounts.users[0].quotas["*"] = {"20270101", 2}; });
    const TraceCapture trace;
    Server().Rules().Times(2, {.result = 0, .data = Json::Value(Json::arrayValue)});
    m_qsn->GetProductList();
    m_callback.ResultOf(QSN_ACTION_GET_PRODUCTLIST_RESULT);
    m_qsn->GetProductListV2();
    m_callback.ResultOf(QSN_ACTION_GET_PRODUCTLIST_V2_RESULT);
    for (int item : {QSNCFG_GI_QUERY, QSNCFG_GI_LOG}) EXPECT_EQ(m_qsn->Config(item, nullptr, nullptr), S_OK);
    const Lines expected = {"Get Product List\n",
                            "GetProductList, Server result = 0\n",
                            "Get Product List V2\n",
                            "GetProductList V2, Server result = 0\n",
                            "OnlineQueryGIInfo: CommunicateToServer\n",
                            "OnlineQueryGIInfo resetDate:20270101, remain_dl:2\n",
                            "Callback: QSN_ACTION_GI_QUERY_RESULT, result = 0\n",
                            "GILogProc: start OnlineGILog \n",
                            "OnlineQueryGIInfo: CommunicateToServer\n",  // the wrong name, as ever
                            "Callback: QSN_ACTION_GI_LOG_RESULT, result = 0\n"};
    Lines lines = trace.Lines();
    std::erase_if(lines, [&](const auto& line) { return std::ranges::find(expected, line) == expected.end(); });
    EXPECT_EQ(lines, expected);
}

TEST_F(Trace, NamesTheFailedCall) {
    StartWithTrace();
    Server().Rules().Once({.status = 503});
    EXPECT_THAT(UserInfoLines(),
                AllOf(Contains("HTTP error: code = 503\n"),
                      Contains(StartsWith("Send http request to server failed hr = 80004005, https://account.")),
                      Contains(AllOf(StartsWith("FAILED: 0x80004005 @ QSNThreadContext_ToServer:"),
                                     EndsWith(" CommunicateToServer(strJsonData, &strServerResponse, &strToken, "
                                              "&strDigest, serverapi)\n")))));
}

}  // namespace
