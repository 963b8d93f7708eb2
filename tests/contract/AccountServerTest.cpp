#include <gmock/gmock.h>

#include "service/http/Gzip.h"
#include "service/operations/Authenticator.h"
#include "support/ImportTable.h"
#include "support/PlainClient.h"
#include "support/SessionTest.h"

namespace {

using namespace qsn::service;
using namespace qsn::test;
using namespace testing;

// What the service does with clients that do not behave well.
using AccountServerTest = SessionTest;

TEST_F(AccountServerTest, AcceptsAPairAsItWasSentOnly) {
    SignIn();
    ASSERT_EQ(UserInfoResult(), QSN_CALLBACK_OK);
    const RecordedRequest sent = Server().TakeRequests().at(0);
    const std::string token(sent.headers["X-token"]), digest(sent.headers["X-digest"]);
    const std::tuple<std::string, std::string, std::string, RequestCheck> rows[] = {
        {token, digest, sent.body, RequestCheck::kAccepted},
        {"", digest, sent.body, RequestCheck::kMissing},
        {token, "", sent.body, RequestCheck::kMissing},
        {"zz" + token.substr(2), digest, sent.body, RequestCheck::kBadToken},
        {token, digest, sent.body + ' ', RequestCheck::kDigestMismatch},
        {token, UpperCase(digest), sent.body, RequestCheck::kDigestMismatch}};
    const Authenticator authenticator(QSN_TEST_KEY_DIR);
    for (const auto& [xToken, xDigest, body, check] : rows) {
        RecordedRequest request;
        request.headers.set("X-token", xToken);
        request.headers.set("X-digest", xDigest);
        request.body = body;
        authenticator.Check(request);
        EXPECT_EQ(request.check, check) << request.checkReason;
    }
    EXPECT_NE(authenticator.Make("").digest, authenticator.Make("").digest) << "the nonce is fresh";
}

TEST_F(AccountServerTest, RefusesTokensThatAreBlockedOrSignedOut) {
    Server().Accounts().Use([](auto& accounts) { accounts.users[0].accessTokens.push_back({"blocked", {}, 103}); });
    SignIn("blocked");
    EXPECT_EQ(UserInfoResult(), QSN_CALLBACK_SERVER_RESULT_103);
    SignIn();
    m_qsn->SignOut();
    SignIn();
    EXPECT_EQ(UserInfoResult(), QSN_CALLBACK_SERVER_RESULT_1);
}

TEST(AccountServer, TunnelsToItsOwnHostsAndEndsAtOnceWhileRepliesAreHeldBack) {
    auto server = std::make_unique<AccountServer>(ServerOptions{.keyFolder = QSN_TEST_KEY_DIR});
    const int port = server->Port();
    for (const std::string target : {"elsewhere.example:443", "account.quillfern.example:80"}) {
        EXPECT_THAT(PlainClient::Ask(port, "CONNECT " + target + " HTTP/1.1\r\n\r\n"), StartsWith("HTTP/1.1 403"));
        EXPECT_EQ(server->Count().refusedTargets.back(), target);
    }
    server->Rules().Once({.neverReply = true});
    server->Rules().Once({.delay = std::chrono::hours(1)});
    const PlainClient first(port), second(port);
    for (const PlainClient* each : {&first, &second}) {
        each->Send("GET /qsn/page/login HTTP/1.1\r\nHost: 127.0.0.1:" + std::to_string(port) + "\r\n\r\n");
    }
    ASSERT_TRUE(server->WaitForRequests(2, std::chrono::seconds(20)));
    const ULONGLONG start = GetTickCount64();
    server.reset();
    EXPECT_LT(GetTickCount64() - start, 2000u);
}

TEST(AccountServer, TakesAWeightOfNothingForANo) {
    const struct {
        const char* accepted;
        bool gzip;
    } rows[] = {{"gzip", true},
                {"deflate, GZIP;q=0.001", true},
                {"deflate ,\tgzip ; q=1", true},
                {"deflate", false},
                {"gzip;q=0", false},
                {"gzip; q=0.000, deflate", false},
                {"GZIP;Q=0.0 ", false},
                {" gzip ;\tq = 0.", false}};
    for (const auto& row : rows) EXPECT_EQ(AcceptsGzip(row.accepted), row.gzip) << row.accepted;
}

std::vector<ULONGLONG> g_accepts;  // the times at which the server tried
SOCKET WSAAPI AcceptAtTheThird(SOCKET listener, sockaddr* address, int* size) {
    g_accepts.push_back(GetTickCount64());
    return g_accepts.size() < 3 ? INVALID_SOCKET : WSAAccept(listener, address, size, nullptr, 0);
}

TEST(AccountServer, PausesWhileAcceptFails) {
    const ImportHook hook("accept", &AcceptAtTheThird, nullptr);
    auto server = std::make_unique<AccountServer>(ServerOptions{.keyFolder = QSN_TEST_KEY_DIR});
    EXPECT_THAT(PlainClient::Ask(server->Port(), "GET / HTTP/1.1\r\nConnection: close\r\n\r\n"),
                StartsWith("HTTP/1.1 403"));
    server.reset();
    ASSERT_GE(g_accepts.size(), 3u);
    EXPECT_GE(g_accepts[2] - g_accepts[0], 100u);
}

}  // namespace
