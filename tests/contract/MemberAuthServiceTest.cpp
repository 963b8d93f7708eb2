#include <gmock/gmock.h>
#include <openssl/rand.h>
#include <openssl/rsa.h>

#include <algorithm>

#include "ServiceClient.h"
#include "service/AccountServer.h"
#include "service/AccountsFile.h"
#include "service/Base64.h"
#include "service/JsonText.h"
#include "service/MemberCipher.h"

namespace qsn::service {
namespace {

using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

constexpr char kInitPath[] = "/member-auth/v1/init";
constexpr char kRefreshPath[] = "/member-auth/v1/refresh/7";
constexpr char kSecret[] = R"({"memberId":7,"refreshToken":"refresh"})";
constexpr char kRefused[] = R"({"status":"FAILED"})";
constexpr char kAccounts[] = R"({"users": [{
    "userID": "7", "userName": "Tova", "userEmail": "t@x.example", "accessTokens": ["access"],
    "productsV2": [{"sid": "S1"}], "refreshTokens": ["refresh"], "memberTokenLifetime": 90}, {
    "userID": "eight", "userName": "", "userEmail": "", "accessTokens": [], "memberId": 8}]})";

// Making one takes two key generations.
const std::shared_ptr<const CertificateAuthority>& SharedAuthority() {
    static const auto authority = std::make_shared<const CertificateAuthority>();
    return authority;
}

// The payload behind a JWT's first dot, whose padding is left out.
Json::Value PayloadOf(const std::string& token) {
    const auto start = token.find('.') + 1;
    std::string part = token.substr(start, token.find('.', start) - start);
    part.append((4 - part.size() % 4) % 4, '=');
    const Bytes payload = FromBase64(part).value();
    return ParseObject({payload.begin(), payload.end()});
}

// The library's half of a refresh, by OpenSSL.
class MemberAuthServiceTest : public testing::Test {
protected:
    MemberAuthServiceTest() { RAND_bytes(key_.data(), static_cast<int>(key_.size())); }

    std::string Post(const std::string& path, const std::string& body) {
        return Client(HostNames::OfThisBuild().member).ExchangeParts(PostRequest(path, "", body)).second;
    }
    ServiceClient Client(const std::string& host) const { return {server_.Port(), server_.Authority(), host}; }

    Json::Value Init() { return ParseObject(Post(kInitPath, R"({"sid":"S","version":1})"))["info"]; }

    std::string Wrapped(const Json::Value& info, const EVP_MD* digest = EVP_sha256()) const {
        const Bytes der = FromBase64(info["public_key"].asString()).value();
        const unsigned char* start = der.data();
        const PrivateKeyPtr publicKey(d2i_PUBKEY(nullptr, &start, static_cast<long>(der.size())));
        const KeyContextPtr context(EVP_PKEY_CTX_new(publicKey.get(), nullptr));
        Bytes wrapped(256);
        std::size_t size = wrapped.size();
        RequireOpenSsl(EVP_PKEY_encrypt_init(context.get()) == 1 &&
                           EVP_PKEY_CTX_set_rsa_padding(context.get(), RSA_PKCS1_OAEP_PADDING) == 1 &&
                           EVP_PKEY_CTX_set_rsa_oaep_md(context.get(), digest) == 1 &&
                           EVP_PKEY_encrypt(context.get(), wrapped.data(), &size, key_.data(), key_.size()) == 1,
                       "wrapping a key");
        return ToBase64(wrapped);
    }

    Json::Value Envelope(const Json::Value& info, const std::string& secret = kSecret) const {
        Json::Value envelope;
        envelope["a"] = Wrapped(info);
        envelope["data"] = ToBase64(EncryptMemberText(key_, secret));
        envelope["k"] = info["id"];
        return envelope;
    }

    std::string Refresh(const Json::Value& envelope) { return Post(kRefreshPath, WriteJson(envelope)); }
    std::optional<std::string> SecretIn(const std::string& reply) const {
        return DecryptMemberText(key_, FromBase64(ParseObject(reply)["info"].asString()).value());
    }

    std::array<std::uint8_t, kMemberKeySize> key_{};
    AccountServer server_{
        {.keyFolder = QSN_TEST_KEY_DIR, .accounts = ParseAccounts(kAccounts), .authority = SharedAuthority()}};
};

TEST_F(MemberAuthServiceTest, RenewsAndAcceptsTheNewToken) {
    const Json::Value envelope = Envelope(Init());
    const auto secret = SecretIn(Refresh(envelope));
    ASSERT_TRUE(secret);
    const std::string token = ParseObject(*secret)["memberToken"].asString();
    EXPECT_EQ(token.find_first_of("-_="), std::string::npos);
    EXPECT_EQ(std::count(token.begin(), token.end(), '.'), 2);
    const Json::Value payload = PayloadOf(token);
    EXPECT_EQ(payload["memberId"], 7);
    EXPECT_EQ(payload["exp"].asInt64() - payload["iat"].asInt64(), 90);

    const RecordedRequest request = server_.TakeRequests().back();
    EXPECT_EQ(request.requestType, "memberRefresh");
    EXPECT_EQ(request.memberIdentifier, "7");
    EXPECT_EQ(request.body, WriteJson(envelope));
    EXPECT_EQ(request.decryptedBody, kSecret);
    EXPECT_EQ(request.check, RequestCheck::kMissing);

    const std::string body = R"({"memberToken":")" + token + R"("})";
    const std::string list = PostRequest("/qsn/service/v2/getProductList", AuthenticationOf(body), body);
    EXPECT_THAT(Client(HostNames::OfThisBuild().service).Exchange(list), HasSubstr(R"("sid":"S1")"));
}

TEST_F(MemberAuthServiceTest, RotationEndsWhatWasWrappedBefore) {
    const Json::Value before = Init();
    EXPECT_EQ(before["public_key"].asString().find_first_of("\r\n-"), std::string::npos);
    EXPECT_EQ(server_.Members().RotateKey(), before["id"].asInt() + 1);
    const Json::Value after = Init();
    EXPECT_NE(after["public_key"], before["public_key"]);
    EXPECT_EQ(Refresh(Envelope(before)), kRefused);
    Json::Value mixed = Envelope(before);
    mixed["k"] = after["id"];
    EXPECT_EQ(Refresh(mixed), kRefused);
    EXPECT_TRUE(SecretIn(Refresh(Envelope(after))));
}

TEST_F(MemberAuthServiceTest, RefusesWhatItCannotRead) {
    const Json::Value info = Init();
    const auto with = [&](const char* member, const Json::Value& value) {
        Json::Value envelope = Envelope(info);
        envelope[member] = value;
        return envelope;
    };
    const std::string noKey = "\"a\" is no key", notCurrent = "\"k\" is not",
                      noSecret = "\"data\" holds no refresh token";
    const struct {
        Json::Value envelope;
        std::string reason;
    } rows[] = {{Json::Value(Json::objectValue), "\"a\" is no Base64"},
                {with("a", 3), "\"a\" is no Base64"},
                {with("a", "no Base64"), "\"a\" is no Base64"},
                {with("a", ""), noKey},
                {with("a", std::string(4000, 'A')), noKey},
                {with("a", Wrapped(info, EVP_sha1())), noKey},
                {with("k", info["id"].asInt() + 1), notCurrent},
                {with("k", "1"), notCurrent},
                {with("k", 1e300), notCurrent},
                {with("k", Json::Value()), notCurrent},
                {with("data", Json::Value(Json::arrayValue)), "\"data\" is no Base64"},
                {with("data", ""), "does not decrypt"},
                {with("data", "AAAA"), "does not decrypt"},
                {with("data", std::string(64, 'A')), "does not decrypt"},
                {Envelope(info, ""), noSecret},
                {Envelope(info, "[]"), noSecret},
                {Envelope(info, std::string(3000, '[')), noSecret},
                {Envelope(info, R"({"refreshToken":7,"memberId":7})"), noSecret},
                {Envelope(info, R"({"refreshToken":"refresh","memberId":"7"})"), noSecret},
                {Envelope(info, R"({"refreshToken":"other","memberId":7})"), "the refresh token is unknown"}};
    for (const auto& row : rows) {
        EXPECT_EQ(Refresh(row.envelope), kRefused) << row.reason;
        EXPECT_THAT(server_.TakeRequests().back().refusal, HasSubstr(row.reason));
    }
    for (const std::string body : {"", "[1]", "{", "3"}) EXPECT_THAT(Post(kRefreshPath, body), Not(StartsWith("{")));
    EXPECT_TRUE(SecretIn(Refresh(Envelope(info))));
}

TEST_F(MemberAuthServiceTest, RefusesAndMisbehavesOnCommand) {
    const Json::Value envelope = Envelope(Init());
    server_.Members().Refuse({.result = 105, .additionalMessage = "m"});
    EXPECT_EQ(Refresh(envelope), R"({"additionalMessage":"m","result":105,"status":"FAILED"})");
    EXPECT_EQ(server_.TakeRequests().back().decryptedBody, kSecret);
    server_.Members().Accept();

    const struct {
        ReplyChange change;
        std::optional<std::string> secret;
    } rows[] = {{{.memberSecret = R"({"memberToken":""})"}, R"({"memberToken":""})"}, {{.spoilMemberTag = true}, {}}};
    for (const auto& row : rows) {
        server_.Rules().Once(row.change, {.requestType = "memberRefresh"});
        EXPECT_EQ(SecretIn(Refresh(envelope)), row.secret);
    }
    server_.Rules().Once({.memberStatus = "BUSY"});
    EXPECT_EQ(Refresh(envelope), R"({"status":"BUSY"})");
    server_.Rules().Once({.data = Json::Value("AAAA")});
    EXPECT_EQ(Refresh(envelope), R"({"info":"AAAA","status":"SUCCESS"})");
}

TEST_F(MemberAuthServiceTest, AccountsChangeWhileItRuns) {
    const auto verify = [&] {
        const std::string body = R"({"accessToken":"access","requestType":"verifyToken"})";
        return Client(HostNames::OfThisBuild().service)
            .Exchange(PostRequest("/qsn/service/request", AuthenticationOf(body), body));
    };
    EXPECT_EQ(PayloadOf(server_.IssueMemberToken("7", std::chrono::seconds(-5)))["memberId"], 7);
    EXPECT_EQ(PayloadOf(server_.IssueMemberToken("eight", {}))["memberId"], 8);
    EXPECT_THROW(server_.IssueMemberToken("8", {}), std::invalid_argument);
    server_.Accounts().Use([](Accounts& accounts) { accounts.users[0].nextVerifyTime = -1; });
    EXPECT_THAT(verify(), HasSubstr(R"("nextVerifyTime":-1)"));
    server_.Accounts().Use([](Accounts& accounts) { accounts.FindByAccessToken("access")->accessTokens.clear(); });
    EXPECT_THAT(verify(), HasSubstr(R"("result":1)"));
}

}  // namespace
}  // namespace qsn::service
