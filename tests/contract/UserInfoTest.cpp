#include <gtest/gtest.h>

#include "support/Fakes.h"
#include "support/SessionTest.h"

namespace {

using namespace std::chrono_literals;
using namespace qsn::test;
using qsn::service::GzipMode;
using qsn::service::RecordedRequest;
using qsn::service::ReplyChange;
using qsn::service::RequestCheck;

class UserInfoRequest : public SessionTest {
protected:
    void SetUp() override {
        SessionTest::SetUp();
        SignIn();
    }
    RecordedRequest OnlyRequest() {
        const auto requests = Server().TakeRequests();
        EXPECT_EQ(requests.size(), 1u);
        return requests.empty() ? RecordedRequest{} : requests.front();
    }
};

TEST_F(UserInfoRequest, BringsTheProfileAndItsMenu) {
    ASSERT_EQ(m_qsn->GetUserInfo(), S_OK);
    const auto event = m_callback.WaitFor(QSN_ACTION_GET_USERINFO_RESULT);
    ASSERT_TRUE(event);
    EXPECT_EQ(event->result, QSN_CALLBACK_OK);
    EXPECT_EQ(event->user, (std::vector<std::string>{"20417", "Ada Quill", "ada@quillfern.example"}));
    EXPECT_EQ(event->menu, (std::vector<std::string>{"Account", "Products", "Help"}));
}

TEST_F(UserInfoRequest, GoesOutAsTheServiceExpectsIt) {
    ASSERT_EQ(UserInfoResult(), QSN_CALLBACK_OK);
    const RecordedRequest request = OnlyRequest();
    EXPECT_EQ(request.check, RequestCheck::kAccepted) << request.checkReason;
    EXPECT_EQ(request.host, "account.quillfern.example");
    EXPECT_EQ(request.method, "POST");
    EXPECT_EQ(request.target, "/qsn/service/request");
    EXPECT_EQ(request.body,
              "{\"accessToken\":\"token-ada\",\"data\":null,\"requestType\":\"getUserInfo\",\"version\":1}\n");
    EXPECT_EQ(request.Header("User-Agent"), nullptr) << request.rawHeader;
    const std::size_t block = request.rawHeader.find(
        "Content-Type: application/json; charset=UTF-8\r\n"
        "Accept: application/json; charset=UTF-8\r\n"
        "Accept-Encoding: gzip, deflate\r\n"
        "X-token: ");
    EXPECT_NE(block, std::string::npos) << request.rawHeader;
    EXPECT_EQ(request.Header("X-digest")->size(), 32u);
}

TEST_F(UserInfoRequest, IsAnsweredWhateverFormTheReplyTakes) {
    const ReplyChange forms[] = {
        {.gzip = GzipMode::kAlways},
        {.gzip = GzipMode::kNever},
        {.gzip = GzipMode::kNever, .chunks = {1, 7, 64}},
        {.gzip = GzipMode::kAlways, .chunks = {10}},
        {.gzip = GzipMode::kNever, .pieceSize = 100, .pause = 5ms},
    };
    for (const ReplyChange& form : forms) {
        Server().Rules().Once(form);
        EXPECT_EQ(UserInfoResult(), QSN_CALLBACK_OK) << "form " << &form - forms;
    }
}

TEST_F(UserInfoRequest, PassesTheServicesMessageOnBeforeTheResult) {
    Server().Rules().Once({.result = 6,
                           .additionalMessage = "Sch\xc3\xb6ne Gr\xc3\xbc\xc3\x9f"
                                                "e"});
    std::vector<int> actions;
    m_callback.onEvent = [&](const Event& event, void*) {
        actions.push_back(event.action);
        return S_OK;
    };
    EXPECT_EQ(UserInfoResult(), QSN_CALLBACK_SERVER_RESULT_6);
    EXPECT_EQ(actions, (std::vector<int>{QSN_ACTION_NOTIFY, QSN_ACTION_GET_USERINFO_RESULT}));
    const auto message = m_callback.WaitFor(QSN_ACTION_NOTIFY);
    ASSERT_TRUE(message);
    EXPECT_EQ(message->result, QSN_NOTIFY_SERVICE_MESSAGE);
    EXPECT_EQ(message->text,
              "Sch\xc3\xb6ne Gr\xc3\xbc\xc3\x9f"
              "e");
}

TEST_F(UserInfoRequest, WithoutNetworkTheHostHearsAtOnce) {
    FakeNetwork network;
    network.SetAlive(false);
    EXPECT_EQ(UserInfoResult(), QSN_CALLBACK_NETWORK_OR_UNKNOWN);
    EXPECT_TRUE(Server().TakeRequests().empty());
    network.SetAlive(true);
    EXPECT_EQ(UserInfoResult(), QSN_CALLBACK_OK);
}

using SignedOut = SessionTest;

TEST_F(SignedOut, NothingIsSentEvenWithoutNetwork) {
    FakeNetwork network;
    network.SetAlive(false);
    EXPECT_EQ(UserInfoResult(), QSN_CALLBACK_NOT_SIGNED_IN);
    EXPECT_TRUE(Server().TakeRequests().empty());
}

TEST_F(SignedOut, StopDropsWhatIsQueuedAndLetsTheRunningRequestEnd) {
    SignIn();
    Server().Rules().Once({.delay = 300ms});
    ASSERT_EQ(m_qsn->GetUserInfo(), S_OK);
    ASSERT_TRUE(Server().WaitForRequests(1, 10s));
    ASSERT_EQ(m_qsn->GetUserInfo(), S_OK);
    ASSERT_EQ(m_qsn->Stop(), S_OK);
    EXPECT_EQ(m_callback.ResultOf(QSN_ACTION_GET_USERINFO_RESULT), QSN_CALLBACK_OK);
    EXPECT_EQ(AccessToken(), kToken) << "the worker goes on";
    EXPECT_EQ(m_callback.Pending(), 0u);
    EXPECT_EQ(Server().TakeRequests().size(), 1u);
}

}  // namespace
