#include "service/operations/MemberAuth.h"

#include <algorithm>

#include "service/crypto/Base64.h"
#include "service/crypto/MemberCipher.h"
#include "service/crypto/RsaKeys.h"
#include "service/text/JsonText.h"

namespace qsn::service {
namespace {

constexpr std::string_view kInitPath = "/member-auth/v1/init";
constexpr std::string_view kRefreshPath = "/member-auth/v1/refresh/";
constexpr char kFailed[] = "FAILED";

// what() says why, for the service's own records. The client learns of the refusal only.
class Refused : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

PrivateKeyPtr FirstKey(const std::filesystem::path& file) {
    return std::filesystem::exists(file) ? ReadPrivateKey(file) : MakePrivateKey();
}

MemberReply Refusal(RecordedRequest& request, const MemberRefusal& refusal, std::string reason) {
    request.refusal = std::move(reason);
    return {kFailed, refusal.result, refusal.additionalMessage};
}

Bytes BytesIn(const Json::Value& body, const char* member) {
    const Json::Value& value = body[member];
    auto bytes = value.isString() ? FromBase64(value.asString()) : std::nullopt;
    if (!bytes) throw Refused('"' + std::string(member) + "\" is no Base64 text");
    return std::move(*bytes);
}

Bytes UnwrapKey(const MemberKey& key, int keyId, const Json::Value& body) {
    const Bytes wrapped = BytesIn(body, "a");
    const Json::Value& k = body["k"];
    if (!k.isInt() || k.asInt() != keyId) throw Refused("\"k\" is not the current key's identifier");
    auto plain = key.Unwrap(wrapped);
    if (!plain || plain->size() != kMemberKeySize) throw Refused("\"a\" is no key wrapped for the current key pair");
    return std::move(*plain);
}

std::string DecryptData(const Bytes& key, const Json::Value& body) {
    auto plain = DecryptMemberText(std::span(key).first<kMemberKeySize>(), BytesIn(body, "data"));
    if (!plain) throw Refused("\"data\" does not decrypt under the key in \"a\"");
    return std::move(*plain);
}

// The member identifier is what the client says of itself. Only the refresh token says who it is.
std::string RefreshTokenIn(const std::string& plainText) {
    const Json::Value secret = ParseObject(plainText);
    if (!secret.isObject() || !secret["refreshToken"].isString() || !secret["memberId"].isIntegral()) {
        throw Refused("\"data\" holds no refresh token with a member identifier");
    }
    return secret["refreshToken"].asString();
}

}  // namespace

MemberAuth::MemberAuth(const std::filesystem::path& keyFolder)
    : state_{std::make_shared<const MemberKey>(FirstKey(keyFolder / "member_private.pem"))} {}

MemberAuth::State MemberAuth::Current() const {
    const std::lock_guard guard(stateLock_);
    return state_;
}

int MemberAuth::RotateKey() {
    auto key = std::make_shared<const MemberKey>(MakePrivateKey());
    const std::lock_guard guard(stateLock_);
    state_.key = std::move(key);
    return ++state_.keyId;
}

int MemberAuth::KeyId() const { return Current().keyId; }

void MemberAuth::Refuse(MemberRefusal refusal) {
    const std::lock_guard guard(stateLock_);
    state_.refusal = std::move(refusal);
}

void MemberAuth::Accept() {
    const std::lock_guard guard(stateLock_);
    state_.refusal.reset();
}

std::string MemberAuth::IssueToken(User& user, std::chrono::seconds lifetime) const {
    std::string token = issuer_.Issue(user.memberId, lifetime);
    // Two tokens of the same second and lifetime are the same text.
    auto& held = user.memberTokens;
    if (std::find(held.begin(), held.end(), token) == held.end()) held.push_back(token);
    return token;
}

MemberReply MemberAuth::Init(RecordedRequest& request) const {
    const State state = Current();
    if (state.refusal) return Refusal(request, *state.refusal, "on command");
    MemberReply reply;
    reply.info["public_key"] = state.key->PublicBody();
    reply.info["id"] = state.keyId;
    return reply;
}

MemberReply MemberAuth::Refresh(RecordedRequest& request, const Json::Value& body, AccountStore& accounts) const {
    const State state = Current();
    try {
        MemberReply reply;
        reply.key = UnwrapKey(*state.key, state.keyId, body);
        request.decryptedBody = DecryptData(*reply.key, body);
        if (state.refusal) return Refusal(request, *state.refusal, "on command");
        const std::string refreshToken = RefreshTokenIn(request.decryptedBody);
        Json::Value secret;
        secret["memberToken"] = accounts.Use([&](Accounts& all) {
            User* user = all.FindByRefreshToken(refreshToken);
            if (!user) throw Refused("the refresh token is unknown");
            return IssueToken(*user, std::chrono::seconds(user->memberTokenLifetime));
        });
        reply.secret = WriteJson(secret);
        return reply;
    } catch (const Refused& refused) {
        return Refusal(request, state.refusal.value_or(MemberRefusal{}), refused.what());
    }
}

std::string_view MemberOperationAt(std::string_view path) {
    if (path == kInitPath) return "memberInit";
    return path.starts_with(kRefreshPath) && path.size() > kRefreshPath.size() ? "memberRefresh" : "";
}

}  // namespace qsn::service
