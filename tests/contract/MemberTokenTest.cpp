#include <gtest/gtest.h>

#include <algorithm>
#include <ctime>
#include <regex>

#include "support/SessionTest.h"

namespace {

using namespace qsn::test;
using namespace qsn::service;

struct TestUser {
    const char* id;
    const char* accessToken;
    const char* refreshToken;
};
constexpr TestUser kAda{"20417", kToken, "refresh-ada"};
constexpr TestUser kBo{"20418", "token-bo", "refresh-bo"};

// A product list of the second generation needs a member token, which is renewed on the way.
class MemberToken : public SessionTest {
protected:
    void SetUp() override {
        Server().Accounts().Use([](auto& accounts) {
            accounts.users[0].refreshTokens = {kAda.refreshToken};
            User& bo = accounts.users.emplace_back();
            bo.userId = kBo.id;
            bo.memberId = std::stoi(kBo.id);
            bo.accessTokens = {{kBo.accessToken}};
            bo.refreshTokens = {kBo.refreshToken};
        });
        SessionTest::SetUp();
        SignInAs(kAda);
    }
    // What a host does that has got its tokens from the service.
    void SignInAs(const TestUser& user) {
        SignIn(user.accessToken);
        SharedValues::WriteProtected("rTok", user.refreshToken);
    }
    void HoldTokenFor(std::chrono::seconds lifetime) { Hold(Server().IssueMemberToken(kAda.id, lifetime)); }
    void Hold(const std::string& token) {
        m_token = token;
        SharedValues::WriteToken("mTok", token);
    }
    int ListResult() {
        EXPECT_EQ(m_qsn->GetProductListV2(), S_OK);
        return m_callback.ResultOf(QSN_ACTION_GET_PRODUCTLIST_V2_RESULT);
    }
    int RenewingListResult() {
        HoldTokenFor(1s);
        return ListResult();
    }
    // The operations that reached the service since the last call, in order.
    std::vector<std::string> Requests() {
        std::vector<std::string> types;
        m_requests = Server().TakeRequests();
        for (const RecordedRequest& request : m_requests) types.push_back(request.requestType);
        return types;
    }
    // A list with a token that has exactly this long to live. Tried again if a second went by in between.
    void ListWithin(std::chrono::seconds lifetime) {
        std::time_t second = 0;
        do {
            Requests();
            second = std::time(nullptr);
            HoldTokenFor(lifetime);
            EXPECT_EQ(ListResult(), QSN_CALLBACK_OK);
        } while (std::time(nullptr) != second);
    }
    const RecordedRequest& Refresh() const {
        static const RecordedRequest kNone;
        const auto found = std::ranges::find(m_requests, "memberRefresh", &RecordedRequest::requestType);
        return found == m_requests.end() ? kNone : *found;
    }
    bool IsRenewed() const { return SharedValues::Read("mTok")->data != SharedValues::Base64Lines(m_token); }

    using Types = std::vector<std::string>;
    std::string m_token;
    std::vector<RecordedRequest> m_requests;
};

TEST_F(MemberToken, IsUsedAsItIsWhileItLasts) {
    ListWithin(61s);
    EXPECT_EQ(Requests(), Types{"getProductListV2"});
    EXPECT_EQ(m_requests[0].body, "{\"data\":{\"lang\":\"\"},\"memberToken\":\"" + m_token + "\",\"version\":1}\n");
}

TEST_F(MemberToken, IsRenewedInItsLastMinute) {
    EXPECT_EQ(RenewingListResult(), QSN_CALLBACK_OK);
    EXPECT_EQ(Requests(), (Types{"memberInit", "memberRefresh", "getProductListV2"})) << "no public key is held yet";
    EXPECT_TRUE(IsRenewed());
    const RecordedRequest& init = m_requests[0];
    EXPECT_EQ(init.host, "member.quillfern.example");
    EXPECT_EQ(init.target, "/member-auth/v1/init");
    EXPECT_EQ(init.body, "{\"sid\":\"SID-TEST\",\"version\":1}\n");
    const RecordedRequest& refresh = m_requests[1];
    EXPECT_EQ(refresh.target, "/member-auth/v1/refresh/00000000") << "nothing is known of the user yet";
    EXPECT_EQ(refresh.decryptedBody, "{\"memberId\":20417,\"refreshToken\":\"refresh-ada\"}\n");
    const std::regex envelope(R"(\{"a":"[A-Za-z0-9+/]{342}==","data":"[A-Za-z0-9+/]+=*","k":[0-9]+\}\n)");
    EXPECT_TRUE(std::regex_match(refresh.body, envelope)) << refresh.body;
    for (const RecordedRequest* request : {&init, &refresh}) {
        EXPECT_NE(request->rawHeader.find("\r\nUser-Agent: Quillfern/SID-TEST\r\n"), std::string::npos);
    }
    EXPECT_EQ(m_requests[2].headers.count("User-Agent"), 0u);

    EXPECT_EQ(UserInfoResult(), QSN_CALLBACK_OK);
    ListWithin(60s);
    EXPECT_EQ(Requests(), (Types{"memberRefresh", "getProductListV2"})) << "the public key is held now";
    EXPECT_EQ(m_requests[0].target, "/member-auth/v1/refresh/20417") << "and so is the user's identifier";
}

TEST_F(MemberToken, SurvivesARotatedKeyPair) {
    ASSERT_EQ(RenewingListResult(), QSN_CALLBACK_OK);
    Server().Members().RotateKey();
    Requests();
    EXPECT_EQ(RenewingListResult(), QSN_CALLBACK_OK);
    const Types withANewKey = {"memberRefresh", "memberInit", "memberRefresh", "getProductListV2"};
    EXPECT_EQ(Requests(), withANewKey);
    EXPECT_TRUE(IsRenewed());

    SharedValues::Write("pubID", {"\1\0\0\0", 4}, REG_DWORD);
    EXPECT_EQ(RenewingListResult(), QSN_CALLBACK_OK);
    EXPECT_EQ(Requests(), withANewKey) << "the number of an older pair is refused with any key";
}

TEST_F(MemberToken, TheKeysNumberGoesBackAsItCame) {
    ASSERT_EQ(RenewingListResult(), QSN_CALLBACK_OK);
    Json::Value info;
    info["public_key"] = *SharedValues::Decrypt("pubK");
    // A number that no value can hold brings no key, so the library asks for another.
    const std::string next = std::to_string(Server().Members().KeyId());
    for (const auto& [number, sent] : {std::pair(3000000000, std::string("3000000000")), {4294967296, next}}) {
        info["id"] = Json::UInt64(number);
        SharedValues::Delete("pubID");
        Requests();
        Server().Rules().Once({.data = info}, {.requestType = "memberInit"});
        EXPECT_EQ(RenewingListResult(), QSN_CALLBACK_OK);
        Requests();
        EXPECT_TRUE(Refresh().body.ends_with(",\"k\":" + sent + "}\n")) << Refresh().body;
    }
}

TEST_F(MemberToken, GoesToTheSiteThatTheHostHasChosen) {
    Switch(QSNCFG_USE_TESTBED);
    SignIn(kStagingToken);
    EXPECT_EQ(ListResult(), QSN_CALLBACK_SERVER_RESULT_102);
    EXPECT_EQ(Requests(), Types{"getProductListV2"}) << "without a member token the member service is not asked";
    EXPECT_NE(m_requests[0].body.find("\"memberToken\":\"\""), std::string::npos);
    RenewingListResult();
    Requests();
    EXPECT_EQ(m_requests[0].host, "member-staging.quillfern.example");
    EXPECT_EQ(m_requests.back().host, "account-staging.quillfern.example");
}

TEST_F(MemberToken, WithoutAnIdentifierTheUserIsAskedFor) {
    const std::string header = "eyJhbGciOiJIUzI1NiJ9.";
    bool turn = false;
    for (const std::string& token : {std::string("no-dots"), std::string("one.dot"), header + "WzFd.x" /* [1] */,
                                     header + "eyJleHAiOiJzb29uIn0.x" /* "exp" a text */, header + "e30.x" /* {} */}) {
        const TestUser& user = (turn = !turn) ? kBo : kAda;
        SignInAs(user);
        Hold(token);
        SharedValues::Delete("pubK");
        EXPECT_EQ(ListResult(), QSN_CALLBACK_OK) << token;
        EXPECT_EQ(Requests(), (Types{"memberInit", "getUserInfo", "memberRefresh", "getProductListV2"}))
            << token << ": what is known of one user is not another's";
        EXPECT_EQ(m_requests[2].target, std::string("/member-auth/v1/refresh/") + user.id);
        EXPECT_EQ(m_requests[2].decryptedBody,
                  std::string("{\"memberId\":") + user.id + ",\"refreshToken\":\"" + user.refreshToken + "\"}\n");
    }
}

TEST_F(MemberToken, IdentifiersAreNumbersOf64Bits) {
    const std::tuple<const char*, const char*, std::string, std::string> cases[] = {
        {"{}", "0020417", "0020417", "20417"},
        {"{}", "9007199254740993", "9007199254740993", "9007199254740993"},
        {"{}", "18446744073709551615", "18446744073709551615", "18446744073709551615"},
        {"{}", "118446744073709551615", "00000000", "0"},
        {"{}", "", "00000000", "0"},
        {"{}", "../init", "00000000", "0"},
        {"{}", "7?x=1", "00000000", "0"},
        {"{}", "7\r\nX-Evil: 1", "00000000", "0"},
        {R"({"memberId":9007199254740993})", "20417", "00000000", "9007199254740993"}};
    for (const auto& [claims, userId, inPath, inBody] : cases) {
        Server().Accounts().Use([&, id = userId](auto& accounts) { accounts.users[0].userId = id; });
        SignInAs(kAda);
        Hold(Server().Members().Issuer().Sign(claims));
        Requests();
        EXPECT_EQ(ListResult(), QSN_CALLBACK_OK) << userId;
        Requests();
        EXPECT_EQ(Refresh().target, "/member-auth/v1/refresh/" + inPath);
        EXPECT_EQ(Refresh().decryptedBody, "{\"memberId\":" + inBody + R"(,"refreshToken":"refresh-ada"})" + "\n");
    }
}

// What happens to the shared tokens while the service takes its time.
struct Meanwhile {
    const char* name;
    const char* held;  // the request type of the reply
    void (*act)(IPVSubscription2& qsn, AccountServer& server);
    int result;  // of the list
    bool isStored = false;
};

void SignInBo(IPVSubscription2&, AccountServer& server) {
    SharedValues::WriteProtected("rTok", kBo.refreshToken);
    SharedValues::WriteToken("mTok", server.IssueMemberToken(kBo.id, 1h));
}

class OvertakenRenewal : public MemberToken, public testing::WithParamInterface<Meanwhile> {};

TEST_P(OvertakenRenewal, LeavesWhatOthersHaveWritten) {
    const Meanwhile& meanwhile = GetParam();
    HoldTokenFor(1s);
    const auto gate = HoldNext(meanwhile.held);
    ASSERT_EQ(m_qsn->GetProductListV2(), S_OK);
    ASSERT_TRUE(gate->WaitForRequest(10s));
    meanwhile.act(*m_qsn, Server());
    const auto member = SharedValues::Read("mTok"), refresh = SharedValues::Read("rTok");
    gate->Open();
    EXPECT_EQ(m_callback.ResultOf(QSN_ACTION_GET_PRODUCTLIST_V2_RESULT), meanwhile.result);
    AccessToken();  // waits for what was posted meanwhile
    EXPECT_EQ(SharedValues::Read("mTok") != member, meanwhile.isStored);
    EXPECT_EQ(SharedValues::Read("rTok"), refresh);
    const Types types = Requests();
    EXPECT_EQ(std::ranges::count(types, "memberInit"), 1) << "it is not tried again";
    EXPECT_EQ(std::ranges::count(types, "memberRefresh"), meanwhile.held == std::string("memberRefresh"));
}

constexpr auto kName = [](const auto& row) { return std::string(row.param.name); };
const Meanwhile kMeanwhile[] = {
    {"signOut", "memberRefresh", [](auto& qsn, auto&) { EXPECT_EQ(qsn.SignOut(), S_OK); }, 102},
    {"signInOfAnotherUser", "memberRefresh", SignInBo, 102},
    {"signInBeforeTheTokenIsSent", "memberInit", SignInBo, 102},
    {"firstHalfOfASignIn", "memberRefresh",
     [](auto&, auto&) { SharedValues::WriteProtected("rTok", kBo.refreshToken); }, 102},
    {"renewalByANeighbour", "memberRefresh",
     [](auto&, auto& server) { SharedValues::WriteToken("mTok", server.IssueMemberToken(kAda.id, 2h)); }, 0},
    {"sameTokenWrittenAgain", "memberRefresh",
     [](auto&, auto&) { SharedValues::WriteProtected("rTok", kAda.refreshToken); }, 0, true},
};
INSTANTIATE_TEST_SUITE_P(All, OvertakenRenewal, testing::ValuesIn(kMeanwhile), kName);

struct RefreshFault {
    const char* name;
    const char* operation;
    ReplyChange change;
};

class RefusedRenewal : public MemberToken, public testing::WithParamInterface<RefreshFault> {};

TEST_P(RefusedRenewal, LeavesEverythingInPlace) {
    const bool isInit = GetParam().operation == std::string("memberInit");
    ASSERT_EQ(RenewingListResult(), QSN_CALLBACK_OK);
    const auto key = SharedValues::Decrypt("pubK");
    if (isInit) SharedValues::Delete("pubID");
    Requests();
    // The list is then requested with an empty token, and refused.
    Server().Rules().Always(GetParam().change, RequestMatch{.requestType = GetParam().operation});
    EXPECT_EQ(RenewingListResult(), QSN_CALLBACK_SERVER_RESULT_102);
    const Types types = Requests();
    EXPECT_EQ(std::count(types.begin(), types.end(), "memberRefresh"), isInit ? 0 : 2);
    EXPECT_LE(std::count(types.begin(), types.end(), "memberInit"), isInit ? 3 : 1);
    EXPECT_EQ(SharedValues::Decrypt("pubK") == key, !isInit) << "a key that is not confirmed goes";
    EXPECT_FALSE(IsRenewed());
    EXPECT_EQ(SharedValues::Decrypt("rTok"), kAda.refreshToken);

    Server().Rules().Clear();
    EXPECT_EQ(ListResult(), QSN_CALLBACK_OK) << "the next try works";
}

ReplyChange Body(const char* body) { return {.body = body}; }

const RefreshFault kRefusals[] = {
    {"result", "memberRefresh", {.result = 102}},
    {"noStatus", "memberRefresh", Body("{}")},
    {"refused", "memberRefresh", Body(R"({"status":"FAILED","info":"AAAA"})")},
    {"noText", "memberRefresh", Body(R"({"status":"SUCCESS","info":{}})")},
    {"shorterThanATag", "memberRefresh", Body(R"({"status":"SUCCESS","info":"AAAAAAAA"})")},
    {"noBase64", "memberRefresh", Body(R"({"status":"SUCCESS","info":"%%%%"})")},
    {"alteredTag", "memberRefresh", {.spoilMemberTag = true}},
    {"secretWithoutToken", "memberRefresh", {.memberSecret = "{}"}},
    {"garbageKey", "memberInit", Body(R"({"status":"SUCCESS","info":{"public_key":"garbage","id":1}})")},
    {"initRefused", "memberInit", Body(R"({"status":"FAILED"})")},
};
INSTANTIATE_TEST_SUITE_P(All, RefusedRenewal, testing::ValuesIn(kRefusals), kName);

TEST_F(MemberToken, PassesTheServicesMessageOn) {
    for (const char* operation : {"memberInit", "memberRefresh"}) {
        Server().Rules().Always({.body = R"({"status":"FAILED","result":102,"additionalMessage":"not today"})"},
                                RequestMatch{.requestType = operation});
        EXPECT_EQ(RenewingListResult(), QSN_CALLBACK_SERVER_RESULT_102);
        Server().Rules().Clear();
        const auto message = m_callback.WaitFor(QSN_ACTION_NOTIFY, 0s);
        ASSERT_TRUE(message) << operation;
        EXPECT_EQ(message->text, "not today");
        while (m_callback.WaitFor(QSN_ACTION_NOTIFY, 0s)) continue;  // those of the retry
    }
}

}  // namespace
