#include <gtest/gtest.h>

#include <regex>

#include "support/SessionTest.h"

namespace {

using namespace qsn::test;

wchar_t g_text[] = L"";
uint32_t g_zero = 0;

struct ItemRow {
    int32_t id;
    void* data;
    HRESULT inside;   // between Init and Uninit
    HRESULT outside;  // before and after
};

constexpr HRESULT kNotInit = QSN_RETURN_E_NOT_INITIALIZED;
const ItemRow kItems[] = {
    {-1, g_text, E_NOTIMPL, E_NOTIMPL},
    {0, g_text, E_NOTIMPL, E_NOTIMPL},
    {QSNCFG_SET_LOG_FOLDER, g_text, S_OK, S_OK},
    {QSNCFG_SET_LOG_FOLDER, nullptr, E_POINTER, E_POINTER},
    {QSNCFG_SET_LANGUAGE, g_text, S_OK, kNotInit},
    {QSNCFG_SET_LANGUAGE, nullptr, E_INVALIDARG, kNotInit},
    {3, g_text, E_NOTIMPL, E_NOTIMPL},
    {4, g_text, E_NOTIMPL, E_NOTIMPL},
    {QSNCFG_SET_PLATFORM_INFO, &g_zero, S_OK, kNotInit},
    {QSNCFG_SET_PLATFORM_INFO, nullptr, S_OK, kNotInit},
    {QSNCFG_ENABLE_SINGLE_SIGNON, &g_zero, S_OK, kNotInit},
    {QSNCFG_ENABLE_SINGLE_SIGNON, nullptr, E_INVALIDARG, kNotInit},
    {QSNCFG_SET_EXTEND_DATA, g_text, S_OK, kNotInit},
    {QSNCFG_SET_EXTEND_DATA, nullptr, E_INVALIDARG, kNotInit},
    {QSNCFG_ENABLE_CHECK_TOKEN_ROUTINE, &g_zero, S_OK, kNotInit},
    {QSNCFG_ENABLE_CHECK_TOKEN_ROUTINE, nullptr, E_INVALIDARG, kNotInit},
    {QSNCFG_USE_TESTBED, &g_zero, S_OK, kNotInit},
    {QSNCFG_USE_TESTBED, nullptr, E_INVALIDARG, kNotInit},
    {QSNCFG_GI_QUERY, nullptr, S_OK, kNotInit},
    {QSNCFG_GI_LOG, nullptr, S_OK, kNotInit},
    {QSNCFG_SET_MEMBER_TOKEN, nullptr, S_OK, S_OK},
    {QSNCFG_SET_REFRESH_TOKEN, nullptr, S_OK, S_OK},
    {QSNCFG_GET_MEMBER_TOKEN, nullptr, S_OK, S_OK},
    {QSNCFG_GET_REFRESH_TOKEN, nullptr, S_OK, S_OK},
    {16, g_text, E_NOTIMPL, E_NOTIMPL},
    {17, g_text, E_NOTIMPL, E_NOTIMPL},
};

TEST(ConfigurationItems, EachHasItsResultInEachState) {
    RecordingCallback callback;
    const Library library;
    const LibraryObject qsn = Create(library);
    const auto expectAll = [&](HRESULT ItemRow::*expected, const char* state) {
        for (const ItemRow& row : kItems) {
            uint32_t length = 0;
            EXPECT_EQ(qsn->Config(row.id, row.data, &length), row.*expected)
                << "item " << row.id << (row.data ? "" : " without data") << ", " << state;
        }
    };
    expectAll(&ItemRow::outside, "before Init");
    ASSERT_EQ(qsn->Init(L"SID", &callback), S_OK);
    expectAll(&ItemRow::inside, "initialised");
    ASSERT_EQ(qsn->Uninit(), S_OK);
    expectAll(&ItemRow::outside, "after Uninit");
    EXPECT_EQ(callback.ResultOf(QSN_ACTION_GI_QUERY_RESULT), QSN_CALLBACK_NOT_SIGNED_IN);
    EXPECT_EQ(callback.ResultOf(QSN_ACTION_GI_LOG_RESULT), QSN_CALLBACK_NOT_SIGNED_IN);
}

// What the system answers when it is asked for the machine's name.
class MachineName {
public:
    explicit MachineName(const std::wstring& name) : m_former(Read()) { Write(name); }
    MachineName(const MachineName&) = delete;
    MachineName& operator=(const MachineName&) = delete;
    ~MachineName() { Write(m_former); }

private:
    static constexpr wchar_t kKey[] = L"System\\CurrentControlSet\\Control\\ComputerName\\ActiveComputerName";

    static std::wstring Read() {
        wchar_t name[MAX_COMPUTERNAME_LENGTH + 1] = {};
        DWORD size = MAX_COMPUTERNAME_LENGTH + 1;
        GetComputerNameW(name, &size);
        return name;
    }
    static void Write(const std::wstring& name) {
        RegSetKeyValueW(HKEY_LOCAL_MACHINE, kKey, L"ComputerName", REG_SZ, name.c_str(),
                        static_cast<DWORD>((name.size() + 1) * sizeof(wchar_t)));
    }

    std::wstring m_former;
};

class ConfiguredRequest : public SessionTest {
protected:
    void SetUp() override {
        SessionTest::SetUp();
        Server().Accounts().Use([](auto& accounts) {
            for (auto& token : accounts.users[0].accessTokens) token.permanent = true;
        });
        uint32_t length = 0;
        for (int32_t item : {QSNCFG_SET_MEMBER_TOKEN, QSNCFG_SET_REFRESH_TOKEN}) m_qsn->Config(item, nullptr, &length);
        uint32_t on = 1;
        m_qsn->Config(QSNCFG_ENABLE_CHECK_TOKEN_ROUTINE, &on, nullptr);
    }
    void Configure(const wchar_t* language, const wchar_t* extendData, uint32_t platform) {
        ASSERT_EQ(m_qsn->Config(QSNCFG_SET_LANGUAGE, const_cast<wchar_t*>(language), nullptr), S_OK);
        ASSERT_EQ(m_qsn->Config(QSNCFG_SET_EXTEND_DATA, const_cast<wchar_t*>(extendData), nullptr), S_OK);
        ASSERT_EQ(m_qsn->Config(QSNCFG_SET_PLATFORM_INFO, &platform, nullptr), S_OK);
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

// The prefix's hardware decides the identifier; the service only has to get some.
std::string WithoutMachineID(std::string body) {
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
    const MachineName name(L"B\u00fcro-\u673a");
    struct {
        const wchar_t* language;
        const wchar_t* extendData;
        uint32_t platform;
        const char* sentExtendData;
        const char* sentList;
    } const cases[] = {
        {L"", L"", 0, "", R"({"lang":""})"},
        {L"de-DE", L"a=\"1\"", 1, R"(a=\"1\")", R"({"lang":"de-DE","platform":"x64"})"},
        {L"fr-\u00e9\u65e5\U0001F33F", L"\u00e9", 2, R"(\u00e9)",
         R"({"lang":"fr-\u00e9\u65e5\ud83c\udf3f","platform":"x86"})"},
        {L"de-DE", L"x", 3, "x", R"({"lang":"de-DE"})"},
    };
    for (const auto& each : cases) {
        SignIn();
        Configure(each.language, each.extendData, each.platform);
        std::vector<std::string> bodies;
        for (const auto& request : RequestsOfAllTypes()) bodies.push_back(WithoutMachineID(request.body));
        EXPECT_EQ(bodies, ExpectedBodies(each.sentExtendData, each.sentList)) << each.platform;
    }
}

TEST_F(ConfiguredRequest, GoesToTheSiteThatTheHostHasChosen) {
    for (uint32_t staging : {0u, 7u, 0u}) {
        ASSERT_EQ(m_qsn->Config(QSNCFG_USE_TESTBED, &staging, nullptr), S_OK);
        SignIn(staging ? kStagingToken : kToken);
        ASSERT_EQ(UserInfoResult(), QSN_CALLBACK_OK);
        const std::string host = staging ? "account-staging.quillfern.example" : "account.quillfern.example";
        for (const auto& request : RequestsOfAllTypes()) EXPECT_EQ(request.host, host) << request.requestType;
        char url[128] = {};
        uint32_t length = 0;
        ASSERT_EQ(m_qsn->GetSignInURL(url, sizeof(url), &length), S_OK);
        EXPECT_EQ(url, "https://" + host + "/qsn/page/login?SID=SID-TEST");
    }
}

}  // namespace
