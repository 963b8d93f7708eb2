#include <gtest/gtest.h>

#include <functional>

#include "service/net/ProxySetting.h"
#include "support/SessionTest.h"

namespace {

using namespace qsn::test;
using namespace qsn::service;

// Where a fault strikes. A token renewal has replies of its own kind. Every operation meets a fault of the way.
enum Where { kWay, kHttp, kPair, kEnvelope };

struct Fault {
    std::string name;
    Where where;
    int result;  // of the callback; that of renewals follows from `where`
    ReplyChange change = {};
    TlsFault tls = TlsFault::kNone;
    int refusedTunnels = 0;
    const wchar_t* proxy = nullptr;  // in place of the service; "": no proxy at all
    bool checked = false;            // by the token check too, which takes a second
};

ReplyChange Body(std::string body) { return {.body = std::move(body)}; }
ReplyChange Redirect(int status, const char* location) {
    return {.status = status, .headers = {{"Location", location}}};
}
HeaderList Lines(std::size_t count, std::size_t size) {
    HeaderList lines;
    for (std::size_t i = 0; i < count; ++i) lines.emplace_back("X-Line-" + std::to_string(i), std::string(size, 'x'));
    return lines;
}
std::string Padded(std::size_t size) { return R"({"result":0,"data":null,"pad":")" + std::string(size, 'x') + R"("})"; }

constexpr char kHome[] = "https://account.quillfern.example/qsn/service/request";

constexpr char kSmallBody[] = R"({"result":0,"data":null})";
constexpr std::size_t kSmallChunk = sizeof(kSmallBody) + 5;  // of all of it
constexpr char kInterim[] =
    "HTTP/1.1 100 Continue\r\n\r\nHTTP/1.1 103 Early Hints\r\nX-token: 00\r\nX-digest: 00\r\n\r\n";

const Fault kFaults[] = {
    {"nameNotFound", kWay, 1, {}, {}, 0, L""},
    {"proxyGone", kWay, 1, {}, {}, 0, L"127.0.0.1:1"},
    {"tunnelRefused", kWay, 1, {}, {}, 502},
    {"loginAsked", kWay, 1, {}, {}, 407},
    {"oldProtocol", kWay, 1, {}, TlsFault::kOldProtocolOnly},
    {"closedInHandshake", kWay, 1, {}, TlsFault::kCloseInHandshake},
    {"plainText", kWay, 1, {}, TlsFault::kPlainText},
    {"expiredCertificate", kWay, 1, {}, TlsFault::kExpiredCertificate},
    {"otherHost", kWay, 1, {}, TlsFault::kOtherHostCertificate},
    {"selfSigned", kWay, 1, {}, TlsFault::kSelfSignedCertificate},
    {"unknownAuthority", kWay, 1, {}, TlsFault::kUnknownAuthority},
    {"slowHeader", kHttp, 0, {.delay = 100ms}},
    {"drip", kHttp, 0, {.compression = Compression::kNone, .pieceSize = 4, .pause = 1ms}},
    {"inChunks", kHttp, 0, {.compression = Compression::kGzip, .chunks = {1, 7, 64}}},
    {"deflate", kHttp, 0, {.compression = Compression::kDeflate}},
    {"bareDeflate", kHttp, 0, {.compression = Compression::kBareDeflate}},
    {"twoGzips", kHttp, 0, {.compression = Compression::kTwoGzips}},
    {"otherEncoding", kHttp, 1, {.headers = {{"Content-Encoding", "br"}}}},
    {"interimReplies", kHttp, 0, {.before = kInterim}},
    {"cookie", kHttp, 0, {.headers = {{"Set-Cookie", "id=1; Domain=quillfern.example; Path=/"}}}},
    {"headUnderItsLimit", kHttp, 0, {.headers = Lines(400, 500)}},
    {"headOverItsLimit", kHttp, 1, {.headers = Lines(560, 500)}},
    {"longLine", kHttp, 1, {.headers = Lines(1, 1000000)}},
    {"endless", kHttp, 1, {.compression = Compression::kGzip, .endless = true}},
    {"closedBeforeReply", kHttp, 1, {.closeBeforeReply = true}},
    {"closedInHeader", kHttp, 1, {.closeAfterHeaderBytes = 20}},
    {"closedInBody", kHttp, 1, {.closeAfterBodyBytes = 8}, {}, 0, nullptr, true},
    {"closedInChunk", kHttp, 1, {.chunks = {10}, .closeAfterBodyBytes = 8}},
    {"lastChunkMissing", kHttp, 1, {.body = kSmallBody, .chunks = {100}, .closeAfterBodyBytes = kSmallChunk}},
    {"brokenChunks", kHttp, 1, {.chunks = {10}, .breakChunking = true}},
    {"lengthTooLong", kHttp, 1, {.body = kSmallBody, .contentLength = 1000, .closeAfterBodyBytes = 1000}},
    {"lengthTooShort", kHttp, 1, {.contentLength = 5}},
    {"brokenGzip", kHttp, 1, {.compression = Compression::kBrokenGzip}},
    {"cutGzip", kHttp, 1, {.compression = Compression::kCutGzip}},
    {"status201", kHttp, 1, {.status = 201}},
    {"status204", kHttp, 1, {.status = 204}},
    {"redirectHome", kHttp, 1, Redirect(302, kHome)},
    {"redirectAway", kHttp, 1, Redirect(307, "https://example.com/")},
    {"redirectPlain", kHttp, 1, Redirect(301, "http://account.quillfern.example/")},
    {"redirectNowhere", kHttp, 1, {.status = 302}},
    {"status401", kHttp, 1, {.status = 401}},
    {"status403", kHttp, 1, {.status = 403}},
    {"status500", kHttp, 1, {.status = 500}, {}, 0, nullptr, true},
    {"notJson", kHttp, 1, Body("<html>")},
    {"emptyBody", kHttp, 1, Body("")},
    {"nested", kHttp, 1, Body(std::string(100000, '['))},
    {"nestedData", kHttp, 1, Body(R"({"result":0,"data":)" + std::string(100000, '['))},
    {"notUtf8", kEnvelope, 0, Body("{\"result\":0,\"data\":\"\xff\xfe\"}")},
    {"oversized", kEnvelope, 0, Body(Padded(20 << 20))},
    {"array", kEnvelope, 5, Body("[1]")},
    {"noResult", kEnvelope, 5, Body(R"({"data":{}})")},
    {"textResult", kEnvelope, 5, Body(R"({"result":"x"})")},
    {"arrayResult", kEnvelope, 5, Body(R"({"result":[0]})")},
    {"hugeResult", kEnvelope, 5, Body(R"({"result":99999999999999999999})")},
    {"dataIsText", kEnvelope, 0, Body(R"({"result":0,"data":"x"})")},
    {"dataIsArray", kEnvelope, 0, Body(R"({"result":0,"data":[1,null,[]]})")},
    {"noToken", kPair, 8, {.token = PairFault::kOmitted}},
    {"emptyToken", kPair, 8, {.token = PairFault::kEmpty}},
    {"wrongToken", kPair, 8, {.token = PairFault::kWrong}},
    {"oddToken", kPair, 8, {.token = PairFault::kOddLength}},
    {"textToken", kPair, 8, {.token = PairFault::kNoHex}},
    {"longToken", kPair, 8, {.token = PairFault::kTooLong}},
    {"noDigest", kPair, 8, {.digest = PairFault::kOmitted}},
    {"emptyDigest", kPair, 8, {.digest = PairFault::kEmpty}},
    {"wrongDigest", kPair, 8, {.digest = PairFault::kWrong}, {}, 0, nullptr, true},
    {"upperDigest", kPair, 8, {.digest = PairFault::kUpperCase}},
    {"longDigest", kPair, 8, {.digest = PairFault::kTooLong}},
    {"failureWithoutPair", kPair, 9, {.result = 3, .token = PairFault::kOmitted}},
};

// What becomes of each result of the service.
std::vector<Fault> ResultFaults() {
    std::vector<Fault> faults;
    for (const auto& [sent, told] : {std::pair(1, 2),
                                     {2, 4},
                                     {3, 9},
                                     {4, 8},
                                     {5, 5},
                                     {6, 10},
                                     {7, 1},
                                     {100, 1},
                                     {101, 101},
                                     {102, 102},
                                     {103, 103},
                                     {104, 104},
                                     {105, 105},
                                     {106, 106},
                                     {107, 107},
                                     {-1, 1}}) {
        faults.push_back(
            {"result" + (sent < 0 ? "Negative" : std::to_string(sent)), kEnvelope, told, {.result = sent}});
        faults.back().checked = sent == 1;
    }
    return faults;
}

bool EndsSession(int result) { return result == 2 || result == 3 || result == 101 || result == 107; }

enum Kind { kUsual, kNeverEnds, kAlwaysEnds, kRenewal, kCheck };
struct Operation {
    const char* name;
    int action;
    HRESULT (*start)(IPVSubscription2&);
    Kind kind = kUsual;
};

// User information is the request that arms the check. The rules of a fault leave it alone then.
const Operation kOperations[] = {
    {"user information", QSN_ACTION_GET_USERINFO_RESULT, [](auto& qsn) { return qsn.GetUserInfo(); }},
    {"product list", QSN_ACTION_GET_PRODUCTLIST_RESULT, [](auto& qsn) { return qsn.GetProductList(); }},
    {"product list V2", QSN_ACTION_GET_PRODUCTLIST_V2_RESULT, [](auto& qsn) { return qsn.GetProductListV2(); }},
    {"quota query", QSN_ACTION_GI_QUERY_RESULT, [](auto& qsn) { return qsn.Config(QSNCFG_GI_QUERY, nullptr, nullptr); },
     kNeverEnds},
    {"quota log", QSN_ACTION_GI_LOG_RESULT, [](auto& qsn) { return qsn.Config(QSNCFG_GI_LOG, nullptr, nullptr); },
     kNeverEnds},
    {"sign-out", QSN_ACTION_SIGNOUT_RESULT, [](auto& qsn) { return qsn.SignOut(); }, kAlwaysEnds},
    {"renewal", QSN_ACTION_GET_PRODUCTLIST_V2_RESULT, [](auto& qsn) { return qsn.GetProductListV2(); }, kRenewal},
    {"token check", QSN_ACTION_CHECK_TOKEN_ROUTINE_RESULT, [](auto& qsn) { return qsn.GetUserInfo(); }, kCheck},
};

class FaultMatrix : public SessionTest, public testing::WithParamInterface<Fault> {
protected:
    void SetUp() override {
        SessionTest::SetUp();
        Server().Accounts().Use([](auto& accounts) {
            auto& user = accounts.users[0];
            user.accessTokens[0].permanent = true;
            user.quotas["*"] = {"20270101", 1000};
            user.memberTokens = {""};
            user.refreshTokens = {"r-1"};
            user.productsV2 = Json::Value(Json::arrayValue);
        });
        Switch(QSNCFG_ENABLE_CHECK_TOKEN_ROUTINE);
    }
    // The access token is set again before each step, because the last step may have cost it.
    void Prepare(const Operation& operation) {
        SignIn();
        m_values.Clear();
        if (operation.kind == kRenewal) {
            SharedValues::WriteToken("mTok", Server().IssueMemberToken("20417", 5s));
            SharedValues::WriteProtected("rTok", "r-1");
        }
        if (operation.kind == kCheck) {
            Json::Value data;
            data["nextVerifyTime"] = 1;
            Server().Rules().Once({.data = data}, {.requestType = "getUserInfo"});
        }
        Server().TakeRequests();
    }
    int Run(const Operation& operation) {
        operation.start(*m_qsn);
        return m_callback.ResultOf(operation.action);
    }
    // Calls `work` while the fault lasts.
    void Under(const Fault& fault, const Operation& operation, const std::function<void()>& work) {
        std::optional<ProxySetting> proxy;
        if (fault.proxy) proxy.emplace(fault.proxy);
        const bool isRenewal = operation.kind == kRenewal;
        Server().Rules().Always(fault.change, {.host = isRenewal ? "member.quillfern.example" : ""});
        Server().RefuseTunnels(fault.refusedTunnels);
        if (fault.where == kWay) Server().SetTlsFault(fault.tls);  // ends the connections
        work();
        Server().Rules().Clear();
        Server().RefuseTunnels(0);
        if (fault.where == kWay) Server().SetTlsFault(TlsFault::kNone);
    }
    void ExpectTheFault(const Fault& fault, const Operation& operation) {
        // The service refuses a list without a member token. A renewal's reply needs no pair.
        const bool spoiltRenewal = operation.kind == kRenewal && fault.where == kHttp && fault.result != 0;
        const int expected = spoiltRenewal ? QSN_CALLBACK_OK : fault.result;
        EXPECT_EQ(Run(operation), expected);
        const bool ends = operation.kind == kAlwaysEnds || (operation.kind != kNeverEnds && EndsSession(expected));
        EXPECT_EQ(AccessToken(), ends ? "" : kToken);
        const std::size_t requests = Server().TakeRequests().size();
        if (fault.where == kWay) {
            EXPECT_EQ(requests, 0u) << "something was sent";
        } else if (operation.kind < kRenewal) {
            // A kept connection that closes without a reply may have been given up before the request came.
            const std::size_t most = fault.change.closeBeforeReply ? 2 : 1;
            EXPECT_GE(requests, 1u);
            EXPECT_LE(requests, most) << "repeated or redirected";
        }
    }
};

TEST_P(FaultMatrix, EachOperationHasItsResultAndTheNextOneWorks) {
    const Fault& fault = GetParam();
    for (const Operation& operation : kOperations) {
        if (operation.kind == kCheck && !fault.checked) continue;
        // The replies of a renewal have neither the pair nor this envelope. Their faults have tests of their own.
        if (operation.kind == kRenewal && (fault.where == kPair || fault.where == kEnvelope)) continue;
        SCOPED_TRACE(operation.name);
        Prepare(operation);
        Under(fault, operation, [&] { ExpectTheFault(fault, operation); });
        Prepare(operation);
        EXPECT_EQ(Run(operation), QSN_CALLBACK_OK) << "the next one";
        for (const auto& request : Server().TakeRequests()) EXPECT_EQ(request.headers.count("Cookie"), 0u);
    }
    for (const std::string& target : Server().Count().refusedTargets)
        EXPECT_TRUE(target.ends_with(".quillfern.example:443")) << "elsewhere, or without TLS: " << target;
}

constexpr auto kName = [](const auto& fault) { return fault.param.name; };
INSTANTIATE_TEST_SUITE_P(All, FaultMatrix, testing::ValuesIn(kFaults), kName);
INSTANTIATE_TEST_SUITE_P(Results, FaultMatrix, testing::ValuesIn(ResultFaults()), kName);

}  // namespace
