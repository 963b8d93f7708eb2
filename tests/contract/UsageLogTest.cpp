#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <regex>

#include "support/Fakes.h"
#include "support/SessionTest.h"

namespace {

using namespace qsn::test;
using qsn::service::PairFault;

class UsageLog : public SessionTest {
protected:
    void SetUp() override {
        ASSERT_EQ(m_qsn->Init(L"S\u00e4D", &m_callback), S_OK);
        AccessToken();  // the answer comes after the worker has started the log
    }
    FakeOrb m_orb;
};

TEST_F(UsageLog, FollowsASession) {
    SignIn();
    EXPECT_EQ(UserInfoResult(), QSN_CALLBACK_OK);
    Server().Rules().Times(2, {.result = 0, .data = Json::Value(Json::arrayValue)});
    m_qsn->GetProductList();
    m_qsn->GetProductListV2();
    EXPECT_EQ(m_callback.ResultOf(QSN_ACTION_GET_PRODUCTLIST_V2_RESULT), QSN_CALLBACK_OK);
    m_qsn->Uninit();
    m_qsn.reset();
    const std::wregex machine(L"HWID=[^&]+");
    EXPECT_EQ(std::regex_replace(m_orb.Record(), machine, L"HWID="),
              L"Init 5B0C3E64-9D1F-4A27-8E6B-2F7A41C9D035 HWID=&sid=S\u00e4D\nLog QSN1.0 QSN Init\n"
              L"Log QSN1.0 GetUserInfo\nLog QSN1.0 GetUserInfo, Server result = 0\n\n"
              L"Log QSN1.0 GetProductList\nLog QSN1.0 GetProductList, Server result = 0\n\n"
              L"Log QSN1.0 GetProductListV2\nLog QSN1.0 GetProductList V2, Server result = 0\n\n"
              L"Log QSN1.0 QSN Uninit\nUninit 0\n");
}

TEST_F(UsageLog, TellsWhatWentWrong) {
    SignIn();
    const std::pair<qsn::service::ReplyChange, std::wstring> cases[] = {
        {{.status = 500}, L"Send http request to server failed\n"},
        {{.token = PairFault::kOmitted}, L"No auth info from server!!\nLog QSN1.0 GetUserInfo, Server result = 0\n\n"},
        {{.digest = PairFault::kWrong},
         L"Verify auth info from server failed!!\nLog QSN1.0 GetUserInfo, Server result = 0\n\n"},
        {{.result = 6}, L"GetUserInfo, Server result = 6\n\n"},
    };
    for (const auto& [change, lines] : cases) {
        m_orb.Reset();
        Server().Rules().Once(change);
        EXPECT_NE(UserInfoResult(), QSN_CALLBACK_OK);
        EXPECT_EQ(m_orb.Record(), L"Log QSN1.0 GetUserInfo\nLog QSN1.0 " + lines);
    }
}

TEST_F(UsageLog, WithoutNetworkTheHostHearsAtOnce) {
    const std::pair<int, HRESULT (*)(IPVSubscription2&)> operations[] = {
        {QSN_ACTION_GET_USERINFO_RESULT, [](auto& qsn) { return qsn.GetUserInfo(); }},
        {QSN_ACTION_GET_PRODUCTLIST_RESULT, [](auto& qsn) { return qsn.GetProductList(); }},
        {QSN_ACTION_GET_PRODUCTLIST_V2_RESULT, [](auto& qsn) { return qsn.GetProductListV2(); }},
        {QSN_ACTION_GI_QUERY_RESULT, [](auto& qsn) { return qsn.Config(QSNCFG_GI_QUERY, nullptr, nullptr); }},
        {QSN_ACTION_GI_LOG_RESULT, [](auto& qsn) { return qsn.Config(QSNCFG_GI_LOG, nullptr, nullptr); }},
    };
    FakeNetwork network;
    network.SetAlive(false);
    const auto expectAll = [&](int result, HRESULT ofQuota, const wchar_t* record) {
        m_orb.Reset();
        for (const auto& [action, start] : operations) {
            const bool quota = action == QSN_ACTION_GI_QUERY_RESULT || action == QSN_ACTION_GI_LOG_RESULT;
            EXPECT_EQ(start(*m_qsn), quota ? ofQuota : S_OK) << action;
            EXPECT_EQ(m_callback.ResultOf(action), result) << action;
        }
        EXPECT_EQ(m_orb.Record(), record);
    };
    expectAll(QSN_CALLBACK_NOT_SIGNED_IN, S_OK,
              L"Log QSN1.0 GetUserInfo\nLog QSN1.0 GetProductList\nLog QSN1.0 GetProductListV2\n");
    SignIn();
    expectAll(QSN_CALLBACK_NETWORK_OR_UNKNOWN, E_FAIL,
              L"Log QSN1.0 GetUserInfo\nLog QSN1.0 Get UesrInfo: Network not available\n"
              L"Log QSN1.0 GetProductList\nLog QSN1.0 Get ProductList: Network not available\n"
              L"Log QSN1.0 GetProductListV2\nLog QSN1.0 Get ProductList: Network not available\n"
              L"Log QSN1.0 GIQueryProc: Network not available\nLog QSN1.0 GILogProc: Network not available\n");
    EXPECT_TRUE(Server().TakeRequests().empty());
    network.SetAlive(true);
    EXPECT_EQ(UserInfoResult(), QSN_CALLBACK_OK);
}

TEST_F(UsageLog, IsTakenFromTheFolderThatTheHostNamesIfThereIsOneToTake) {
    m_qsn.reset();
    m_orb.Reset();
    const auto folder = std::filesystem::temp_directory_path() / "UsageLogTest";
    const std::filesystem::path module = folder / "Orb.dll";
    std::filesystem::create_directory(folder);
    const auto oneSession = [&] {
        // What counts is the host's current folder at the time when the host names the other one.
        const auto before = std::filesystem::current_path();
        std::filesystem::current_path(folder.parent_path());
        m_qsn = Create(m_library);
        EXPECT_EQ(m_qsn->Config(QSNCFG_SET_LOG_FOLDER, folder.filename().wstring().data(), nullptr), S_OK);
        std::filesystem::current_path(before);
        SetUp();
        EXPECT_EQ(UserInfoResult(), QSN_CALLBACK_NOT_SIGNED_IN);
        m_qsn.reset();
    };
    oneSession();
    EXPECT_TRUE(m_orb.Record().ends_with(L"Log QSN1.0 GetUserInfo\nLog QSN1.0 QSN Uninit\nUninit 0\n"));
    m_orb.Reset();
    CopyFileW(m_orb.Path().c_str(), module.c_str(), FALSE);
    {
        const FakeOrb other(module);
        oneSession();
        EXPECT_TRUE(other.Record().starts_with(L"Init "));
    }
    // A module of another kind, and a file that is not a module.
    CopyFileW(FakeNetwork().Path().c_str(), module.c_str(), FALSE);
    oneSession();
    std::ofstream(module).flush();
    oneSession();
    EXPECT_EQ(m_orb.Record(), L"");
    EXPECT_EQ(GetModuleHandleW(module.c_str()), nullptr) << "freed at the end";
    std::filesystem::remove_all(folder);
}

}  // namespace
