#include <gtest/gtest.h>

#include "support/SessionTest.h"

namespace {

using namespace std::chrono_literals;
using namespace qsn::test;

using UserInfoRequest = SessionTest;

TEST_F(UserInfoRequest, GoesOutAsTheServiceExpectsIt) {
    SignIn();
    ASSERT_EQ(UserInfoResult(), QSN_CALLBACK_OK);
    const auto requests = Server().TakeRequests();
    ASSERT_EQ(requests.size(), 1u);
    const auto& request = requests[0];
    EXPECT_EQ(request.method + " " + request.host + request.target,
              "POST account.quillfern.example/qsn/service/request");
    EXPECT_EQ(request.headers.count("User-Agent"), 0u) << request.rawHeader;
    const std::size_t block = request.rawHeader.find(
        "Content-Type: application/json; charset=UTF-8\r\n"
        "Accept: application/json; charset=UTF-8\r\n"
        "Accept-Encoding: gzip, deflate\r\n"
        "X-token: ");
    EXPECT_NE(block, std::string::npos) << request.rawHeader;
}

TEST_F(UserInfoRequest, ThirtyUseOneConnection) {
    SignIn();
    const unsigned before = Server().Count().connections;
    for (int i = 0; i < 30; ++i) EXPECT_EQ(UserInfoResult(), QSN_CALLBACK_OK);
    EXPECT_EQ(Server().Count().connections, before + 1);
}

TEST_F(UserInfoRequest, StopDropsWhatIsQueuedAndLetsTheRunningRequestEnd) {
    SignIn();
    const auto gate = HoldNext("getUserInfo");
    ASSERT_EQ(m_qsn->GetUserInfo(), S_OK);
    ASSERT_TRUE(gate->WaitForRequest(10s));
    ASSERT_EQ(m_qsn->GetUserInfo(), S_OK);
    ASSERT_EQ(m_qsn->Stop(), S_OK);
    gate->Open();
    EXPECT_EQ(m_callback.ResultOf(QSN_ACTION_GET_USERINFO_RESULT), QSN_CALLBACK_OK);
    EXPECT_EQ(AccessToken(), kToken) << "the worker goes on";
    EXPECT_EQ(m_callback.Pending(), 0u);
    EXPECT_EQ(Server().TakeRequests().size(), 1u);
}

}  // namespace
