#include <gtest/gtest.h>

#include <cstring>

#include "support/SessionTest.h"

namespace {

using namespace qsn::test;

class QuotaRequest : public SessionTest {
protected:
    // The callback result; on success the record is in m_quota.
    int Query() {
        m_callback.onEvent = [this](const Event& event, void* data) {
            if (event.action == QSN_ACTION_GI_QUERY_RESULT && data) std::memcpy(&m_quota, data, sizeof(m_quota));
            return S_OK;
        };
        EXPECT_EQ(m_qsn->Config(QSNCFG_GI_QUERY, nullptr, nullptr), S_OK);
        return m_callback.ResultOf(QSN_ACTION_GI_QUERY_RESULT);
    }

    QSN_GI_QUOTA m_quota = {};
};

TEST_F(QuotaRequest, CountsDownToTheLastDownload) {
    SignIn();
    Server().Accounts().Use([](auto& accounts) { accounts.users[0].quotas["*"] = {"20270101", 2}; });
    for (uint32_t left : {2u, 1u, 0u}) {
        ASSERT_EQ(Query(), QSN_CALLBACK_OK);
        EXPECT_EQ(m_quota.size, 64u);
        EXPECT_STREQ(m_quota.resetDate, L"20270101");
        EXPECT_EQ(m_quota.remainCount, left);
        EXPECT_EQ(m_qsn->Config(QSNCFG_GI_LOG, nullptr, nullptr), S_OK);
        EXPECT_EQ(m_callback.ResultOf(QSN_ACTION_GI_LOG_RESULT), left ? QSN_CALLBACK_OK : QSN_CALLBACK_SERVER_RESULT_6);
    }
}

TEST_F(QuotaRequest, TheRecordHoldsWhateverComes) {
    SignIn();
    const std::wstring cut(27, L'\u00e4');
    struct {
        const char* data;
        const wchar_t* resetDate;
        uint32_t remainCount;
    } const cases[] = {
        {R"({"reset_date":"ääääääääääääääääääääääääääääääääääääääää","remain_count":7})", cut.c_str(), 7},
        {R"({"reset_date":20270101,"remain_count":-1})", L"20270101", 0xFFFFFFFFu},
        {R"({"reset_date":{},"remain_count":4294967295})", L"", 0},
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

}  // namespace
