#include <gtest/gtest.h>

#include <cstring>

#include "support/DumpSwitch.h"
#include "support/Fakes.h"
#include "support/SessionTest.h"
#include "support/TraceCapture.h"

namespace {

using namespace qsn::test;
using qsn::service::Accounts;

class QuotaRequest : public SessionTest {
protected:
    void SetUp() override {
        SessionTest::SetUp();
        SignIn();
        Server().Accounts().Use([](Accounts& accounts) { accounts.users[0].quotas["*"] = {"20270101", 2}; });
    }
    HRESULT Ask(int item) { return m_qsn->Config(item, nullptr, nullptr); }

    // The callback result; on success the record is in m_quota.
    int Query() {
        m_callback.onEvent = [this](const Event& event, void* data) {
            if (event.action == QSN_ACTION_GI_QUERY_RESULT && data) std::memcpy(&m_quota, data, sizeof(m_quota));
            return S_OK;
        };
        EXPECT_EQ(Ask(QSNCFG_GI_QUERY), S_OK);
        const auto event = m_callback.WaitFor(QSN_ACTION_GI_QUERY_RESULT);
        m_callback.onEvent = nullptr;
        if (!event) return -1;
        EXPECT_EQ(event->hasData, event->result == QSN_CALLBACK_OK);
        return event->result;
    }
    int Log() {
        EXPECT_EQ(Ask(QSNCFG_GI_LOG), S_OK);
        const auto event = m_callback.WaitFor(QSN_ACTION_GI_LOG_RESULT);
        if (!event) return -1;
        EXPECT_FALSE(event->hasData);
        return event->result;
    }

    QSN_GI_QUOTA m_quota = {};
};

TEST_F(QuotaRequest, CountsDownToTheLastDownload) {
    for (uint32_t left : {2u, 1u, 0u}) {
        ASSERT_EQ(Query(), QSN_CALLBACK_OK);
        EXPECT_EQ(m_quota.size, 64u);
        EXPECT_STREQ(m_quota.resetDate, L"20270101");
        EXPECT_EQ(m_quota.remainCount, left);
        EXPECT_EQ(Log(), left > 0 ? QSN_CALLBACK_OK : QSN_CALLBACK_SERVER_RESULT_6);
    }
}

TEST_F(QuotaRequest, TheRecordHoldsWhateverComes) {
    const std::wstring cut(27, L'\u00e4');
    struct {
        const char* data;
        const wchar_t* resetDate;
        uint32_t remainCount;
    } const cases[] = {
        {R"({"reset_date":"ääääääääääääääääääääääääääääääääääääääää","remain_count":7})", cut.c_str(), 7},
        {R"({"reset_date":20270101,"remain_count":-1})", L"20270101", 0xFFFFFFFFu},
        {R"({"reset_date":{},"remain_count":"3"})", L"", 0},
        {R"({"reset_date":[],"remain_count":4294967295})", L"", 0},
        {R"([{"remain_count":3}])", L"", 0},
        {"null", L"", 0},
    };
    for (const auto& each : cases) {
        Server().Rules().Once({.body = std::string("{\"result\":0,\"data\":") + each.data + "}"});
        std::memset(&m_quota, 0xEE, sizeof(m_quota));
        ASSERT_EQ(Query(), QSN_CALLBACK_OK) << each.data;
        EXPECT_STREQ(m_quota.resetDate, each.resetDate) << each.data;
        EXPECT_EQ(m_quota.remainCount, each.remainCount) << each.data;
    }
}

struct UnreachableCase {
    const char* name;
    HRESULT (*ask)(IPVSubscription2&);
    int action;
    const wchar_t* log;  // of the usage log, without network
};

class Unreachable : public SessionTest, public testing::WithParamInterface<UnreachableCase> {};

TEST_P(Unreachable, TellsTheHostAndTheUsageLog) {
    const UnreachableCase& each = GetParam();
    FakeNetwork network;
    network.SetAlive(false);
    ASSERT_FALSE(FAILED(each.ask(*m_qsn)));
    EXPECT_EQ(m_callback.ResultOf(each.action), QSN_CALLBACK_NOT_SIGNED_IN) << "that is looked at first";

    SignIn();
    FakeOrb orb;
    const HRESULT hr = each.ask(*m_qsn);
    EXPECT_EQ(m_callback.ResultOf(each.action), QSN_CALLBACK_NETWORK_OR_UNKNOWN);
    const bool waited = each.action == QSN_ACTION_GI_QUERY_RESULT || each.action == QSN_ACTION_GI_LOG_RESULT;
    EXPECT_EQ(hr, waited ? E_FAIL : S_OK);
    EXPECT_EQ(orb.Record(), each.log);
    EXPECT_TRUE(Server().TakeRequests().empty());
}

INSTANTIATE_TEST_SUITE_P(
    All, Unreachable,
    testing::Values(
        UnreachableCase{"ProductList", [](IPVSubscription2& qsn) { return qsn.GetProductList(); },
                        QSN_ACTION_GET_PRODUCTLIST_RESULT,
                        L"Log QSN1.0 GetProductList\nLog QSN1.0 Get ProductList: Network not available\n"},
        UnreachableCase{"ProductListV2", [](IPVSubscription2& qsn) { return qsn.GetProductListV2(); },
                        QSN_ACTION_GET_PRODUCTLIST_V2_RESULT,
                        L"Log QSN1.0 GetProductListV2\nLog QSN1.0 Get ProductList: Network not available\n"},
        UnreachableCase{"Query", [](IPVSubscription2& qsn) { return qsn.Config(QSNCFG_GI_QUERY, nullptr, nullptr); },
                        QSN_ACTION_GI_QUERY_RESULT, L"Log QSN1.0 GIQueryProc: Network not available\n"},
        UnreachableCase{"Log", [](IPVSubscription2& qsn) { return qsn.Config(QSNCFG_GI_LOG, nullptr, nullptr); },
                        QSN_ACTION_GI_LOG_RESULT, L"Log QSN1.0 GILogProc: Network not available\n"}),
    [](const auto& each) { return std::string(each.param.name); });

// The switch is read when the library object is made.
struct TraceOn {
    DumpSwitch dump{1};
};

class QueryTrace : private TraceOn, public QuotaRequest {
protected:
    // Without those of tasks, which come and go on both threads, and of the timer's thread.
    static std::vector<std::string> LinesBesideTasks(const TraceCapture& trace) {
        auto lines = trace.Lines();
        std::erase_if(lines, [](const std::string& line) {
            return line.starts_with("BaseTask::") || line.starts_with("RoutineTimer thread");
        });
        return lines;
    }
};

TEST_F(QueryTrace, NamesTheStepsOfAQuotaQuery) {
    const TraceCapture trace;
    ASSERT_EQ(Query(), QSN_CALLBACK_OK);
    EXPECT_EQ(LinesBesideTasks(trace), (std::vector<std::string>{
                                           "config ID = 10\n",
                                           "GIQueryProc: start online query GI info\n",
                                           "OnlineQueryGIInfo\n",
                                           "OnlineQueryGIInfo: GenerateJSONData\n",
                                           "OnlineQueryGIInfo: CommunicateToServer\n",
                                           "Start to communicate to Server\n",
                                           "Send data to Server\n",
                                           "Verify digest from Server\n",
                                           "Verify result = 0\n",
                                           "OnlineQueryGIInfo resetDate:20270101, remain_dl:2\n",
                                           "ServerResult2HRESULT return hr = 0\n",
                                           "OnlineQueryGIInfo return hr = 0\n",
                                           "DoCallback: action = 12\n",
                                           "Callback: QSN_ACTION_GI_QUERY_RESULT, result = 0\n",
                                       }));
}

TEST_F(QueryTrace, KeepsTheWrongNameInAQuotaLog) {
    const TraceCapture trace;
    ASSERT_EQ(Log(), QSN_CALLBACK_OK);
    EXPECT_EQ(LinesBesideTasks(trace), (std::vector<std::string>{
                                           "config ID = 11\n",
                                           "GILogProc: start OnlineGILog \n",
                                           "OnlineGILog\n",
                                           "OnlineGILog: GenerateJSONData\n",
                                           "OnlineQueryGIInfo: CommunicateToServer\n",
                                           "Start to communicate to Server\n",
                                           "Send data to Server\n",
                                           "Verify digest from Server\n",
                                           "Verify result = 0\n",
                                           "ServerResult2HRESULT return hr = 0\n",
                                           "OnlineGILog return hr = 0\n",
                                           "DoCallback: action = 13\n",
                                           "Callback: QSN_ACTION_GI_LOG_RESULT, result = 0\n",
                                       }));
}

TEST_F(QueryTrace, LabelsBothGenerationsOfProductLists) {
    const TraceCapture trace;
    FakeOrb orb;
    Server().Rules().Times(2, {.result = 0, .data = Json::Value(Json::arrayValue)});
    m_qsn->GetProductList();
    ASSERT_EQ(m_callback.ResultOf(QSN_ACTION_GET_PRODUCTLIST_RESULT), QSN_CALLBACK_OK);
    m_qsn->GetProductListV2();
    ASSERT_EQ(m_callback.ResultOf(QSN_ACTION_GET_PRODUCTLIST_V2_RESULT), QSN_CALLBACK_OK);
    for (const char* line :
         {"Get Product List\n", "GetProductListCmdProc: start online to get product list \n", "OnlineGetProductList\n",
          "GetProductList, Server result = 0\n", "OnlineGetProductList return hr = 0\n", "Get Product List V2\n",
          "GetProductListV2CmdProc: start online to get product list \n", "OnlineGetProductListV2\n",
          "GetProductList V2, Server result = 0\n", "OnlineGetProductListV2 return hr = 0\n"}) {
        EXPECT_TRUE(trace.WaitForLine(line, std::chrono::seconds(5))) << line;
    }
    EXPECT_EQ(orb.Record(),
              L"Log QSN1.0 GetProductList\nLog QSN1.0 GetProductList, Server result = 0\n\n"
              L"Log QSN1.0 GetProductListV2\nLog QSN1.0 GetProductList V2, Server result = 0\n\n");
}

TEST_F(QueryTrace, ShowsWhatWasConfigured) {
    const TraceCapture trace;
    wchar_t text[] = L"extra";
    uint32_t on = 1;
    EXPECT_EQ(m_qsn->Config(QSNCFG_SET_EXTEND_DATA, text, nullptr), S_OK);
    EXPECT_EQ(m_qsn->Config(QSNCFG_ENABLE_CHECK_TOKEN_ROUTINE, &on, nullptr), S_OK);
    EXPECT_EQ(m_qsn->Config(QSNCFG_USE_TESTBED, &on, nullptr), S_OK);
    EXPECT_EQ(LinesBesideTasks(trace), (std::vector<std::string>{
                                           "config ID = 7\n",
                                           "Config ID = 7\n",
                                           "set extend data = extra, hr = 0\n",
                                           "config ID = 8\n",
                                           "Config ID = 8\n",
                                           "QSNCFG_ENABLE_CHECK_TOKEN_ROUTINE = 1, hr = 0\n",
                                           "config ID = 9\n",
                                           "Config ID = 9\n",
                                           "QSNCFG_USE_TESTBED = 1\n",
                                           "QSNCFG_USE_TESTBED = 1, hr = 0\n",
                                       }));
}

}  // namespace
