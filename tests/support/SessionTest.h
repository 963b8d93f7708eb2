#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "service/http/ReplyGate.h"
#include "support/Library.h"
#include "support/RecordingCallback.h"
#include "support/SharedValues.h"
#include "support/TestService.h"

namespace qsn::test {

using namespace std::chrono_literals;

// A test with the service running and an initialised library object whose callbacks are recorded.
class SessionTest : public testing::Test {
protected:
    SessionTest() { TestService::Instance().Reset(); }

    void SetUp() override { ASSERT_EQ(m_qsn->Init(L"SID-TEST", &m_callback), S_OK); }

    void Switch(int32_t item, uint32_t value = 1) { ASSERT_EQ(SetNumber(*m_qsn, item, value), S_OK); }
    void SignIn(const char* token = kToken) {
        ASSERT_EQ(m_qsn->SignIn(token), S_OK);
        ASSERT_EQ(m_callback.ResultOf(QSN_ACTION_SIGNIN_RESULT), QSN_CALLBACK_OK);
    }
    // The callback result of one Get User Info.
    int UserInfoResult() {
        EXPECT_EQ(m_qsn->GetUserInfo(), S_OK);
        return m_callback.ResultOf(QSN_ACTION_GET_USERINFO_RESULT);
    }
    std::string AccessToken() {
        char buffer[64] = {};
        uint32_t length = 0;
        m_qsn->GetAccessToken(buffer, sizeof(buffer), &length);
        return buffer;
    }

    // Holds back the reply to the next request of the type until the gate is opened.
    static std::shared_ptr<const service::ReplyGate> HoldNext(const std::string& requestType) {
        auto gate = std::make_shared<const service::ReplyGate>();
        Server().Rules().Once({.gate = gate}, {.requestType = requestType});
        return gate;
    }

    SharedValues m_values;  // of the user: cleared before and after each test
    RecordingCallback m_callback;
    Library m_library;
    LibraryObject m_qsn = Create(m_library);
};

}  // namespace qsn::test
