#include <gtest/gtest.h>

#include <cstring>

#include "support/SessionTest.h"

namespace {

using namespace qsn::test;

using QuotaRequest = SessionTest;

TEST_F(QuotaRequest, TheRecordHoldsWhateverComes) {
    SignIn();
    QSN_GI_QUOTA quota;
    m_callback.onEvent = [&](const Event&, void* record) {
        if (record) std::memcpy(&quota, record, sizeof(quota));
        return S_OK;
    };
    const std::wstring cut(27, L'\u00e4');
    const std::tuple<const char*, const wchar_t*, uint32_t> cases[] = {
        {R"({"reset_date":"20270101","remain_count":0})", L"20270101", 0},
        {R"({"reset_date":"ääääääääääääääääääääääääääääääääääääääää","remain_count":7})", cut.c_str(), 7},
        {R"({"reset_date":20270101,"remain_count":-1})", L"20270101", 0xFFFFFFFFu},
        {R"({"reset_date":{},"remain_count":4294967295})", L"", 0},
        {"null", L"", 0},
    };
    for (const auto& [data, resetDate, remainCount] : cases) {
        Server().Rules().Once({.body = std::string("{\"result\":0,\"data\":") + data + "}"});
        std::memset(&quota, 0xEE, sizeof(quota));
        EXPECT_EQ(m_qsn->Config(QSNCFG_GI_QUERY, nullptr, nullptr), S_OK);
        ASSERT_EQ(m_callback.ResultOf(QSN_ACTION_GI_QUERY_RESULT), QSN_CALLBACK_OK) << data;
        EXPECT_EQ(quota.size, 64u);
        EXPECT_STREQ(quota.resetDate, resetDate) << data;
        EXPECT_EQ(quota.remainCount, remainCount) << data;
    }
}

}  // namespace
