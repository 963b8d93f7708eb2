#include <gtest/gtest.h>

#include <regex>

#include "support/ImportTable.h"
#include "support/SessionTest.h"

namespace {

using namespace qsn::test;

wchar_t g_text[] = L"";
uint32_t g_zero = 0;

struct ItemRow {
    int32_t id;
    void* data;
    HRESULT withData, withoutData;
    bool needsInit;  // refused before Init and after Uninit
};

const ItemRow kItems[] = {
    {QSNCFG_SET_LOG_FOLDER, g_text, S_OK, E_POINTER, false},
    {QSNCFG_SET_LANGUAGE, g_text, S_OK, E_INVALIDARG, true},
    {QSNCFG_SET_PLATFORM_INFO, &g_zero, S_OK, S_OK, true},
    {QSNCFG_ENABLE_SINGLE_SIGNON, &g_zero, S_OK, E_INVALIDARG, true},
    {QSNCFG_SET_EXTEND_DATA, g_text, S_OK, E_INVALIDARG, true},
    {QSNCFG_ENABLE_CHECK_TOKEN_ROUTINE, &g_zero, S_OK, E_INVALIDARG, true},
    {QSNCFG_USE_TESTBED, &g_zero, S_OK, E_INVALIDARG, true},
    {QSNCFG_GI_QUERY, &g_zero, S_OK, S_OK, true},
    {QSNCFG_GI_LOG, &g_zero, S_OK, S_OK, true},
    {QSNCFG_SET_MEMBER_TOKEN, g_text, S_OK, S_OK, false},
    {QSNCFG_SET_REFRESH_TOKEN, g_text, S_OK, S_OK, false},
    {QSNCFG_GET_MEMBER_TOKEN, g_text, E_INVALIDARG, S_OK, false},
    {QSNCFG_GET_REFRESH_TOKEN, g_text, E_INVALIDARG, S_OK, false},
};

TEST(ConfigurationItems, EachHasItsResultInEachState) {
    RecordingCallback callback;
    const Library library;
    const LibraryObject qsn = Create(library);
    const auto expectAll = [&](bool initialised, const char* state) {
        for (int32_t unknown : {-1, 0, 3, 4, 16, 17})
            EXPECT_EQ(SetNumber(*qsn, unknown), E_NOTIMPL) << unknown << state;
        for (const ItemRow& row : kItems) {
            for (void* const data : {row.data, static_cast<void*>(nullptr)}) {
                uint32_t length = 0;
                const HRESULT result = data ? row.withData : row.withoutData;
                EXPECT_EQ(qsn->Config(row.id, data, &length),
                          row.needsInit && !initialised ? QSN_RETURN_E_NOT_INITIALIZED : result)
                    << "item " << row.id << (data ? "" : " without data") << ", " << state;
            }
        }
    };
    expectAll(false, "before Init");
    ASSERT_EQ(qsn->Init(L"SID", &callback), S_OK);
    expectAll(true, "initialised");
    ASSERT_EQ(qsn->Uninit(), S_OK);
    expectAll(false, "after Uninit");
    for (int action : {QSN_ACTION_GI_QUERY_RESULT, QSN_ACTION_GI_LOG_RESULT}) {
        EXPECT_EQ(callback.ResultOf(action), QSN_CALLBACK_NOT_SIGNED_IN);
    }
}

// What the system answers when it is asked for the machine's name.
BOOL WINAPI MachineName(wchar_t* name, DWORD* size) {
    const bool fits = *size > MAX_COMPUTERNAME_LENGTH;
    if (fits) wcscpy(name, L"B\u00fcro-\u673a");
    return fits;
}

class ConfiguredRequest : public SessionTest {
protected:
    void SetUp() override {
        SessionTest::SetUp();
        Server().Accounts().Use([](auto& accounts) {
            for (auto& token : accounts.users[0].accessTokens) token.permanent = true;
        });
        Switch(QSNCFG_ENABLE_CHECK_TOKEN_ROUTINE);
    }
    // One request of each kind, in this order: user info, both lists, quota query and log, token check, sign-out.
    std::vector<qsn::service::RecordedRequest> RequestsOfAllTypes() {
        Json::Value checkInOneSecond;
        checkInOneSecond["nextVerifyTime"] = 1;
        Server().Rules().Once({.data = checkInOneSecond}, {.requestType = "getUserInfo"});
        m_qsn->GetUserInfo();
        m_qsn->GetProductList();
        m_qsn->GetProductListV2();
        m_qsn->Config(QSNCFG_GI_QUERY, nullptr, nullptr);
        m_qsn->Config(QSNCFG_GI_LOG, nullptr, nullptr);
        EXPECT_EQ(m_callback.ResultOf(QSN_ACTION_CHECK_TOKEN_ROUTINE_RESULT), QSN_CALLBACK_OK);
        m_qsn->SignOut();
        EXPECT_EQ(m_callback.ResultOf(QSN_ACTION_SIGNOUT_RESULT), QSN_CALLBACK_OK);
        return Server().TakeRequests();
    }
};

// The identifier depends on the hardware. It is enough that the service gets one.
std::string WithoutMachineID(const std::string& body) {
    static const std::regex identifier("\"machineID\":\"[0-9A-Za-z{}-]+\"");
    return std::regex_replace(body, identifier, "\"machineID\":\"*\"");
}

std::vector<std::string> ExpectedBodies(const std::string& extendData, const std::string& list) {
    const std::string start = "{" + (extendData.empty() ? "" : "\"ExtendData\":\"" + extendData + "\",") +
                              "\"accessToken\":\"token-ada\",\"data\":";
    const std::string sid = "{\"sid\":\"SID-TEST\"}";
    const std::string device = R"({"machineID":"*","machineName":"B\u00fcro-\u673a",)";
    return {
        start + "null,\"requestType\":\"getUserInfo\",\"version\":1}\n",
        start + list + ",\"requestType\":\"getProductList\",\"version\":1}\n",
        "{\"data\":" + list + ",\"memberToken\":\"\",\"version\":1}\n",
        start + sid + ",\"requestType\":\"gicount_query\",\"version\":1}\n",
        start + sid + ",\"requestType\":\"gicount_log\",\"version\":1}\n",
        start + device + R"("sid":"SID-TEST"},"requestType":"verifyToken","version":1})" + "\n",
        start + device +
            R"("memberToken":"","refreshToken":"","sid":"SID-TEST"},"requestType":"signOut","version":1})" + "\n",
    };
}

TEST_F(ConfiguredRequest, CarriesWhatTheHostHasSet) {
    const ImportHook machineName("GetComputerNameW", &MachineName);
    const unsigned connections = Server().Count().connections;
    const std::tuple<const wchar_t*, const wchar_t*, uint32_t, const char*, const char*> cases[] = {
        {L"", L"", 0, "", R"({"lang":""})"},
        {L"de-DE", L"a=\"1\"", 1, R"(a=\"1\")", R"({"lang":"de-DE","platform":"x64"})"},
        {L"fr-\u00e9\u65e5\U0001F33F", L"\u00e9", 2, R"(\u00e9)",
         R"({"lang":"fr-\u00e9\u65e5\ud83c\udf3f","platform":"x86"})"},
        {L"de-DE", L"x", 3, "x", R"({"lang":"de-DE"})"},
    };
    for (const auto& [language, extendData, platform, sentExtendData, sentList] : cases) {
        SignIn();
        ASSERT_EQ(m_qsn->Config(QSNCFG_SET_LANGUAGE, const_cast<wchar_t*>(language), nullptr), S_OK);
        ASSERT_EQ(m_qsn->Config(QSNCFG_SET_EXTEND_DATA, const_cast<wchar_t*>(extendData), nullptr), S_OK);
        Switch(QSNCFG_SET_PLATFORM_INFO, platform);
        std::vector<std::string> bodies;
        for (const auto& request : RequestsOfAllTypes()) bodies.push_back(WithoutMachineID(request.body));
        EXPECT_EQ(bodies, ExpectedBodies(sentExtendData, sentList)) << platform;
    }
    EXPECT_EQ(Server().Count().connections, connections + 1) << "one serves all of them";
}

TEST_F(ConfiguredRequest, GoesToTheSiteThatTheHostHasChosen) {
    for (uint32_t staging : {0u, 7u, 0u}) {
        Switch(QSNCFG_USE_TESTBED, staging);
        SignIn(staging ? kStagingToken : kToken);
        ASSERT_EQ(UserInfoResult(), QSN_CALLBACK_OK);
        const std::string host = staging ? "account-staging.quillfern.example" : "account.quillfern.example";
        for (const auto& request : RequestsOfAllTypes()) {
            EXPECT_EQ(request.host, host) << request.requestType;
            EXPECT_EQ(request.headers.count("User-Agent"), 0u);
            const std::string block =
                "Content-Type: application/json; charset=UTF-8\r\nAccept: application/json; charset=UTF-8\r\n"
                "Accept-Encoding: gzip, deflate\r\nX-token: ";
            EXPECT_NE(request.rawHeader.find(block), std::string::npos) << request.rawHeader;
        }
        char url[128] = {};
        uint32_t length = 0;
        ASSERT_EQ(m_qsn->GetSignInURL(url, sizeof(url), &length), S_OK);
        EXPECT_EQ(url, "https://" + host + "/qsn/page/login?SID=SID-TEST");
    }
}

}  // namespace
