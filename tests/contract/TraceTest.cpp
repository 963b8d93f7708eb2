#include <gmock/gmock.h>

#include <algorithm>
#include <functional>
#include <regex>

#include "support/DumpSwitch.h"
#include "support/SessionTest.h"
#include "support/TraceCapture.h"

namespace {

using namespace qsn::test;
using namespace testing;
using Lines = std::vector<std::string>;

// The switch is read when the library object is made. It belongs to the process and is never turned off, but it goes
// with the DLL.
class Trace : public SessionTest {
protected:
    void SetUp() override {}
    void Start() {
        m_qsn = Create(m_library);
        SessionTest::SetUp();
        SignIn();
    }
    // All lines of one request, from its first line to `end`, the last of its task.
    static Lines LinesOf(const std::function<void()>& act, const char* end) {
        const TraceCapture trace;
        act();
        EXPECT_TRUE(trace.WaitForLine(end, 10s));
        return trace.Lines();
    }
    // Those of `lines` that were traced, in the order and as often as they came.
    static Lines Traced(const Lines& lines, const TraceCapture& trace) {
        Lines traced = trace.Lines();
        std::erase_if(traced, [&](const auto& line) { return std::ranges::find(lines, line) == lines.end(); });
        return traced;
    }
    void StartWithTrace() {
        const DumpSwitch dump(1);
        // The line of the timer's thread may come at any moment.
        LinesOf([&] { Start(); }, "RoutineTimer thread: start");
        Settle();
    }
    // The last lines of a task come after its callback.
    void Settle() {
        LinesOf([&] { AccessToken(); }, "BaseTask::GetAccTokenTask Destroyed.\n");
    }
    Lines UserInfoLines() {
        Settle();
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

Lines operator+(Lines lines, const Lines& more) {
    lines.insert(lines.end(), more.begin(), more.end());
    return lines;
}

Lines Sending(const std::string& name) {
    return {name + "\n", name + ": GenerateJSONData\n", name + ": CommunicateToServer\n",
            "Start to communicate to Server\n", "Send data to Server\n"};
}

const Lines kVerified = {"Verify digest from Server\n", "Verify result = 0\n"};

TEST_F(Trace, ShowsOneUserInfoRequestStepByStep) {
    StartWithTrace();
    EXPECT_EQ(UserInfoLines(),
              (Lines{"Get User Info\n", "BaseTask::GetUserInfoTask Created.\n",
                     "GetUserInfoCmdProc: start online to get user info \n"} +
               Sending("OnlineGetUserInfo") + kVerified +
               Lines{"GetUserInfo, Server result = 0\n", "ServerResult2HRESULT return hr = 0\n",
                     "OnlineGetUserInfo return hr = 0\n", "DoCallback: action = 4\n",
                     "BaseTask::GetUserInfoTask Completed.\n", "BaseTask::GetUserInfoTask Destroyed.\n"}));
}

TEST_F(Trace, ShowsASignInAndATokenCheck) {
    StartWithTrace();
    LinesOf([&] { AccessToken(); }, "BaseTask::GetAccTokenTask Destroyed.\n");
    const Lines signIn = {"Sign in\n", "BaseTask::SignInTask Created.\n", "DoCallback: action = 1\n",
                          "BaseTask::SignInTask Completed.\n", "BaseTask::SignInTask Destroyed.\n"};
    EXPECT_EQ(LinesOf([&] { m_qsn->SignIn(kToken); }, signIn.back().c_str()), signIn);

    Json::Value soon;
    soon["nextVerifyTime"] = 1;
    Server().Rules().Times(2, {.data = soon});
    EXPECT_THAT(UserInfoLines(),
                Contains("disable routine timer of checking token, due to AP disable this function\n"));
    Switch(QSNCFG_ENABLE_CHECK_TOKEN_ROUTINE);
    UserInfoLines();
    Server().Rules().Once({.result = 1});
    EXPECT_EQ(LinesOf([] {}, "BaseTask::CheckTokenValidTask Destroyed.\n"),
              (Lines{"RoutineTimerCallbackEvent, ID = 1\n", "RoutineTimerCallbackEvent, ROUTINE_EVENT_CHECK_TOKEN \n",
                     "BaseTask::CheckTokenValidTask Created.\n"} +
               Sending("OnlineCheckTokenValid") + kVerified +
               Lines{"Enable routine timer to check token: nextVerifyTime = -1 \n",
                     "ServerResult2HRESULT return hr = 84200001\n", "OnlineCheckTokenValid return hr = 84200001\n",
                     "DoCallback: action = 11\n", "Callback: QSN_ACTION_CHECK_TOKEN_ROUTINE_RESULT, result = 2\n",
                     "BaseTask::CheckTokenValidTask Completed.\n", "BaseTask::CheckTokenValidTask Destroyed.\n"}));
}

TEST_F(Trace, ShowsARenewalThatTakesASecondKey) {
    StartWithTrace();
    SharedValues::WriteToken("mTok", Server().IssueMemberToken("20417", 5s));
    SharedValues::WriteProtected("rTok", "r-1");
    Server().Accounts().Use([](auto& accounts) { accounts.users[0].refreshTokens = {"r-1"}; });
    Server().Rules().Once({.memberStatus = "FAILED"}, {.requestType = "memberRefresh"});
    const Lines init = Sending("OnlineInitMemberAuth") +
                       Lines{"SetPublicKeyAndIDFromReg\n", "SetPublicID: 1", "InitMemberAuth, Server result = 0\n",
                             "ServerResult2HRESULT return hr = 0\n", "OnlineInitMemberAuth return hr = 0\n"};
    const Lines refresh = {"GetRefreshTokenFromReg\n", "OnlineRefreshMemberToken: CommunicateToServer\n",
                           "Start to communicate to Server\n", "Send data to Server\n"};
    const Lines start = {"Get Product List V2\n", "BaseTask::GetProductListTask Created.\n",
                         "GetProductListV2CmdProc: start online to get product list \n", "GetMemberTokenTaskCmdProc"};
    const Lines look = {"GetMemberTokenFromReg\n", "IsMemberTokenValid\n", "DecodeJWT\n",
                        "IsMemberTokenValid: the token is invalid "};
    const Lines key = {"OnlineRefreshMemberToken\n", "GetPublicKeyAndIDFromReg\n"};
    const Lines failure = {
        "FAILED: 0x80004005 @ Utility\\CryptoUtility:# AesDecrypt(byAESKey, byIV, encryptedData, decryptedData, "
        "&plaintext_len)\n",
        "FAILED: 0x80004005 @ QSNThreadContext:# DecryptByAESKey(aesKey, AUTH_IV_STRING, *strInfo, "
        "&strDecryptResult)\n",
        "[ERR]GetMemberTokenTaskCmdProc refresh member token failed, calls init API to get public key again."};
    const Lines stored = {"SetMemberToken\n", "SetMemberToken: #", "RefreshMemberToken, Server result = 0\n",
                          "ServerResult2HRESULT return hr = 0\n", "OnlineRefreshMemberToken return hr = 0\n"};
    const Lines expected = start + look + key + Lines{"[ERR] GetPublicKey SS_STATUS_NOT_EXIST\n"} + init + refresh +
                           failure + init + key + Lines{"OnlineRefreshMemberToken public key is exist.\n"} + refresh +
                           stored + Lines{"GetMemberTokenFromReg\n"};
    Lines lines = LinesOf([&] { m_qsn->GetProductListV2(); }, "BaseTask::GetProductListTask Destroyed.\n");
    std::erase(lines, "CheckSingleSignOn::Uninit");  // one for each short look at the registry
    const std::regex varies("(FAILED: [^ ]+ @ [^:]+:)[0-9]+|(SetMemberToken: ).+");
    for (std::string& line : lines) line = std::regex_replace(line, varies, "$1$2#");
    ASSERT_GE(lines.size(), expected.size());
    lines.resize(expected.size());  // from here on it is a request like any other
    EXPECT_EQ(lines, expected);
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
    const Lines lists = {"Get Product List\n", "GetProductList, Server result = 0\n", "Get Product List V2\n",
                         "GetProductList V2, Server result = 0\n"};
    const Lines query = {"OnlineQueryGIInfo: CommunicateToServer\n",
                         "OnlineQueryGIInfo resetDate:20270101, remain_dl:2\n",
                         "Callback: QSN_ACTION_GI_QUERY_RESULT, result = 0\n"};
    const Lines log = {"GILogProc: start OnlineGILog \n",
                       "OnlineQueryGIInfo: CommunicateToServer\n",  // the wrong name, as ever
                       "Callback: QSN_ACTION_GI_LOG_RESULT, result = 0\n"};
    const Lines expected = lists + query + log;
    EXPECT_EQ(Traced(expected, trace), expected);
}

TEST_F(Trace, NamesWhatIsShared) {
    StartWithTrace();
    const TraceCapture trace;
    Switch(QSNCFG_ENABLE_SINGLE_SIGNON);
    SignIn("t-1");
    SignIn(nullptr);
    for (int32_t item : {QSNCFG_SET_MEMBER_TOKEN, QSNCFG_SET_REFRESH_TOKEN}) SetToken(*m_qsn, item, "m-1");
    char text[3];
    uint32_t length = 3;
    EXPECT_EQ(m_qsn->Config(QSNCFG_GET_MEMBER_TOKEN, text, &length), E_INVALIDARG);
    SharedValues::Delete("SSO");
    EXPECT_TRUE(trace.WaitForLine("SetRefreshToken: NULL", 5s));
    SharedValues::WriteToken("SSO", "t-2");
    SharedValues::WriteToken("mTok", "m-2");
    SharedValues::WriteProtected("rTok", "r-2");
    EXPECT_EQ(m_callback.ResultOf(QSN_ACTION_NOTIFY), QSN_NOTIFY_MEMBER_TOKEN_SET);
    EXPECT_EQ(m_callback.ResultOf(QSN_ACTION_NOTIFY), QSN_NOTIFY_REFRESH_TOKEN_SET);
    SharedValues::Delete("mTok");
    SharedValues::WriteToken("rTok", "damaged");
    EXPECT_EQ(m_callback.ResultOf(QSN_ACTION_NOTIFY), QSN_NOTIFY_MEMBER_TOKEN_CLEAR);
    EXPECT_EQ(m_callback.ResultOf(QSN_ACTION_NOTIFY), QSN_NOTIFY_REFRESH_TOKEN_CLEAR);
    Switch(QSNCFG_ENABLE_SINGLE_SIGNON, 0);
    for (int32_t item : {QSNCFG_SET_MEMBER_TOKEN, QSNCFG_SET_REFRESH_TOKEN}) SetToken(*m_qsn, item, nullptr);
    m_qsn->SignOut();
    const Lines sharing = {"config QSNCFG_ENABLE_SINGLE_SIGNON = 1\n", "CheckSingleSignOn::Init",
                           "config QSNCFG_ENABLE_SINGLE_SIGNON = 0\n", "CheckSingleSignOn::Uninit",
                           "CheckSingleSignOn thread: quit"};
    const Lines signIn = {"Sign in: SET single signOn token: t-1\n", "SetSingleSignOnToken: t-1",
                          "Sign in: try single signOn\n", "Sign in: GET from single signOn token: t-1\n"};
    const Lines set = {"QSNCFG_SET_MEMBER_TOKEN: m-1, length = 3\n", "SetMemberToken: m-1",
                       "QSNCFG_SET_REFRESH_TOKEN: m-1, length = 3\n",
                       "QSNCFG_GET_MEMBER_TOKEN: buffer length is too small = 3, at least: 3\n"};
    const Lines cleared = {"QSNCFG_SET_MEMBER_TOKEN: NULL, length = 0\n",
                           "QSNCFG_SET_REFRESH_TOKEN: NULL, length = 0\n", "Sign out: memtoken:\n",
                           "[CheckSingleSignOn] CryptUnprotectData error!!\n"};
    const Lines gone = {"SetMemberToken: NULL", "SetRefreshToken: NULL"};
    // The tokens go at a sign-out elsewhere, at the host's command and at a sign-out here.
    Lines expected = sharing + signIn + set + cleared + gone + gone + gone;
    for (int id = 0; const char* event : {"", "MEMBER_", "REFRESH_"}) {
        for (const char* change : {"SET", "CLEAR"}) {
            expected.push_back("SSOCallbackEvent, ID = " + std::to_string(++id) + "\n");
            expected.push_back(std::string("SSOCallbackEvent, SSO_EVENT_") + event + "TOKEN_" + change + " \n");
        }
    }
    // If a look began before a value was written, that value is told of later than the others.
    EXPECT_THAT(Traced(expected, trace), UnorderedElementsAreArray(expected));
    EXPECT_THAT(trace.Lines(),
                IsSupersetOf({"CheckSingleSignOn thread: start", "[ERR] GetMemberToken SS_STATUS_NOT_EXIST\n",
                              "[ERR] GetRefreshToken SS_STATUS_NOT_EXIST\n"}));
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
