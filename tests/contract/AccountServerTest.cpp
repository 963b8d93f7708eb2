#include "service/AccountServer.h"

#include <gmock/gmock.h>
#include <openssl/x509_vfy.h>

#include <thread>

#include "ServiceClient.h"
#include "service/AccountsFile.h"

namespace qsn::service {
namespace {

using std::chrono::milliseconds;
using testing::AllOf;
using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

constexpr char kPath[] = "/qsn/service/request";
constexpr char kAccounts[] = R"({"users": [{
    "userID": "7", "userName": "Tova", "userEmail": "t@x.example", "nextVerifyTime": 60, "productsV2": [{"sid": "S1"}],
    "accessTokens": ["once", {"token": "kept", "permanent": true}, {"token": "there", "site": "staging"},
                     {"token": "blocked", "result": 103}],
    "memberTokens": ["member"], "quotas": {"*": {"resetDate": "20270101", "remainCount": 1}}}]})";

// Making one takes two key generations.
const std::shared_ptr<const CertificateAuthority>& SharedAuthority() {
    static const auto authority = std::make_shared<const CertificateAuthority>();
    return authority;
}

class AccountServerTest : public testing::Test {
protected:
    ServiceClient Client(const std::string& host = HostNames::OfThisBuild().service) const {
        return {server_.Port(), *SharedAuthority(), host};
    }
    static std::string Body(const std::string& type, const std::string& token) {
        return R"({"accessToken":")" + token + R"(","requestType":")" + type + R"("})";
    }
    static std::string Signed(const std::string& body, const std::string& path = kPath, const std::string& extra = "") {
        return PostRequest(path, AuthenticationOf(body) + extra, body);
    }

    AccountServer server_{
        {.keyFolder = QSN_TEST_KEY_DIR, .accounts = ParseAccounts(kAccounts), .authority = SharedAuthority()}};
};

TEST_F(AccountServerTest, ChecksTheRequestPair) {
    const std::string body = Body("getUserInfo", "kept");
    const std::string token = RequestToken("31"), digest = DigestOf(body, "31");
    const struct {
        std::string token, digest;
        RequestCheck check;
    } rows[] = {{token, digest, RequestCheck::kAccepted},
                {"", digest, RequestCheck::kMissing},
                {token, "", RequestCheck::kMissing},
                {"zz" + token.substr(2), digest, RequestCheck::kBadToken},
                {token.substr(2), digest, RequestCheck::kBadToken},
                {RequestToken("3a1"), DigestOf(body, "3a1"), RequestCheck::kBadToken},
                {token, DigestOf(body + ' ', "31"), RequestCheck::kDigestMismatch},
                {token, UpperCase(digest), RequestCheck::kDigestMismatch}};
    ServiceClient client = Client();
    for (const auto& row : rows) {
        const std::string headers = "X-token: " + row.token + "\r\nX-digest: " + row.digest + "\r\n";
        const std::string reply = client.Exchange(PostRequest(kPath, headers, body));
        const auto request = server_.TakeRequests().at(0);
        EXPECT_EQ(request.check, row.check) << request.checkReason;
        EXPECT_THAT(reply, StartsWith(row.check == RequestCheck::kAccepted ? "HTTP/1.1 200" : "HTTP/1.1 403"));
        EXPECT_THAT(request.rawHeader, AllOf(StartsWith("POST "), HasSubstr(headers), EndsWith("\r\n\r\n")));
        EXPECT_EQ(request.body, body);
    }
}

TEST_F(AccountServerTest, SealsItsRepliesUnderAFreshNonce) {
    ServiceClient client = Client();
    std::string last;
    for (int i = 0; i < 2; ++i) {
        const auto [header, body] = client.ExchangeParts(Signed(Body("getUserInfo", "kept")));
        const std::string nonce = NonceOfReply(HeaderIn(header, "X-token"));
        EXPECT_EQ(HeaderIn(header, "X-digest"), DigestOf(body, nonce));
        EXPECT_NE(nonce, std::exchange(last, nonce));
    }
}

TEST_F(AccountServerTest, AnswersFromTheAccounts) {
    const HostNames hosts = HostNames::OfThisBuild();
    const std::string query = "/qsn/service/gi_count/query", log = "/qsn/service/gi_count/log";
    const struct {
        std::string type, token, reply, path = kPath;
        bool staging = false;
    } rows[] = {{"getUserInfo", "kept", R"("userName":"Tova")"},
                {"getUserInfo", "unknown", R"("result":1)"},
                {"getUserInfo", "blocked", R"("result":103)"},
                {"getUserInfo", "there", R"("result":1)"},
                {"getUserInfo", "there", R"("result":0)", kPath, true},
                {"verifyToken", "kept", R"("nextVerifyTime":60)"},
                {"gicount_log", "kept", R"("result":0)", log},
                {"gicount_log", "kept", R"("result":6)", log},
                {"gicount_query", "kept", R"("remain_count":0,"reset_date":"20270101")", query},
                {"signOut", "once", R"("result":0)"},
                {"getUserInfo", "once", R"("result":1)"},
                {"signOut", "kept", R"("result":0)"},
                {"getUserInfo", "kept", R"("result":0)"},
                {"gicount_log", "kept", "400 Bad Request"},
                {"getUserInfo", "kept", "404 Not Found", "/qsn/service/other"}};
    for (const auto& row : rows) {
        ServiceClient client = Client(row.staging ? hosts.stagingService : hosts.service);
        EXPECT_THAT(client.Exchange(Signed(Body(row.type, row.token), row.path)), HasSubstr(row.reply)) << row.type;
    }
    EXPECT_THAT(Client().Exchange(Signed(R"({"memberToken":"member"})", "/qsn/service/v2/getProductList")),
                HasSubstr(R"("sid":"S1")"));
}

TEST_F(AccountServerTest, ScriptShapesTheReply) {
    const std::string body = "0123456789";
    const struct {
        ReplyChange change;
        testing::Matcher<std::string> reply;
    } rows[] = {
        {{.result = 4, .additionalMessage = "m"}, HasSubstr(R"("additionalMessage":"m")")},
        {{.body = body, .status = 302, .headers = {{"Location", "/x"}}},
         AllOf(StartsWith("HTTP/1.1 302"), HasSubstr("\r\nLocation: /x\r\n"))},
        {{.token = PairFault::kOmitted, .digest = PairFault::kEmpty},
         AllOf(Not(HasSubstr("X-token")), HasSubstr("X-digest: \r\n"))},
        {{.body = body, .chunks = {3, 5}}, EndsWith("\r\n\r\n3\r\n012\r\n5\r\n34567\r\n2\r\n89\r\n0\r\n\r\n")},
        {{.body = body, .chunks = {3}, .breakChunking = true}, HasSubstr("\r\n012\r\nno size\r\n")},
        {{.body = body, .closeAfterBodyBytes = 4},
         AllOf(HasSubstr("Content-Length: 10\r\n"), EndsWith("\r\n\r\n0123"))},
        {{.body = body, .contentLength = 12, .closeAfterBodyBytes = 10}, HasSubstr("Content-Length: 12\r\n")},
        {{.closeAfterHeaderBytes = 9}, std::string("HTTP/1.1 ")},
        {{.status = 204}, Not(HasSubstr("Content-Length"))},
        {{.gzip = GzipMode::kAlways}, AllOf(HasSubstr("Content-Encoding: gzip\r\n"), HasSubstr("\r\n\r\n\x1f\x8b"))},
        {{.body = body, .pieceSize = 1}, EndsWith(body)},
        {{.closeBeforeReply = true}, std::string()}};
    for (const auto& row : rows) {
        server_.Rules().Once(row.change, {.path = kPath, .requestType = "getUserInfo"});
        const bool endless = row.change.status == 204 || !row.change.chunks.empty();
        const std::string ending = endless ? "Connection: close\r\n" : "";
        EXPECT_THAT(Client().Exchange(Signed(Body("getUserInfo", "kept"), kPath, ending)), row.reply);
    }
    EXPECT_EQ(server_.Rules().Pending(), 0u);
}

TEST_F(AccountServerTest, PresentsFaultyCertificatesAndRecovers) {
    const struct {
        TlsFault fault;
        long verifyResult;
        bool secure = true;
    } rows[] = {{TlsFault::kExpiredCertificate, X509_V_ERR_CERT_HAS_EXPIRED},
                {TlsFault::kOtherHostCertificate, X509_V_ERR_HOSTNAME_MISMATCH},
                {TlsFault::kSelfSignedCertificate, X509_V_ERR_DEPTH_ZERO_SELF_SIGNED_CERT},
                {TlsFault::kUnknownAuthority, X509_V_ERR_UNABLE_TO_GET_ISSUER_CERT_LOCALLY},
                {TlsFault::kOldProtocolOnly, X509_V_OK, false},
                {TlsFault::kCloseInHandshake, X509_V_OK, false},
                {TlsFault::kNone, X509_V_OK}};
    ServiceClient before = Client();
    for (const auto& row : rows) {
        server_.SetTlsFault(row.fault);
        ServiceClient client = Client();
        EXPECT_EQ(client.Secure(), row.secure);
        EXPECT_EQ(client.VerifyResult(), row.verifyResult);
    }
    EXPECT_EQ(before.Exchange(Signed(Body("getUserInfo", "kept"))), "");
}

TEST_F(AccountServerTest, OpensTunnelsToItsOwnHostsOnly) {
    const HostNames hosts = HostNames::OfThisBuild();
    for (const std::string_view host : hosts.All()) EXPECT_TRUE(Client(std::string(host)).Secure());
    EXPECT_THAT(Client("elsewhere.example").TunnelReply(), StartsWith("HTTP/1.1 403"));
    server_.RefuseTunnels(502);
    EXPECT_THAT(Client().TunnelReply(), StartsWith("HTTP/1.1 502"));
    EXPECT_EQ(server_.Count().refusedTargets.at(0), "elsewhere.example:443");
}

TEST(AccountServer, EndsAtOnceWhileRepliesAreHeldBack) {
    auto server =
        std::make_unique<AccountServer>(ServerOptions{.keyFolder = QSN_TEST_KEY_DIR, .authority = SharedAuthority()});
    server->Rules().Once({.neverReply = true});
    server->Rules().Once({.delay = std::chrono::hours(1)});
    const auto ask = [port = server->Port()] {
        ServiceClient(port, *SharedAuthority(), HostNames::OfThisBuild().service).Exchange(PostRequest(kPath, "", ""));
    };
    std::thread first(ask), second(ask);
    EXPECT_TRUE(server->WaitForRequests(2, std::chrono::seconds(20)));
    const auto start = std::chrono::steady_clock::now();
    server.reset();
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(2));
    first.join();
    second.join();
}

}  // namespace
}  // namespace qsn::service
