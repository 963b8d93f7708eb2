#include "protocol/MemberAuthMessages.h"

#include "Utility/Json.h"
#include "protocol/ResultCodes.h"

namespace qsn {

Outcome<std::string> WriteMemberInitBody(const std::string& productSID) {
    Json::Value root;
    root["sid"] = productSID;
    root["version"] = 1;
    return WriteJson(root);
}

Outcome<std::string> WriteMemberRefreshSecret(const std::string& refreshToken, std::uint64_t memberId) {
    Json::Value root;
    root["refreshToken"] = refreshToken;
    root["memberId"] = Json::UInt64{memberId};
    return WriteJson(root);
}

Outcome<std::string> WriteMemberRefreshBody(const std::string& wrappedKey, const std::string& encryptedSecret,
                                            std::uint32_t keyId) {
    Json::Value root;
    root["a"] = wrappedKey;
    root["data"] = encryptedSecret;
    root["k"] = Json::UInt{keyId};
    return WriteJson(root);
}

MemberAuthReply ReadMemberAuthResult(std::string_view reply) {
    const std::optional<Json::Value> root = ParseJson(reply);
    if (!root) return {};
    const Json::Value& result = JsonMember(*root, "result");
    return {result.isConvertibleTo(Json::intValue) ? result.asInt() : kUnreadableResult,
            JsonText(*root, "additionalMessage")};
}

Outcome<MemberAuthInfo> ParseMemberAuthResponse(RequestType api, std::string_view reply) {
    const std::optional<Json::Value> root = ParseJson(reply);
    if (!root) return {E_INVALIDARG};
    if (!root->isObject() || !root->isMember("status")) return {kReplyWithoutResult};
    if (JsonText(*root, "status") != "SUCCESS") return {S_OK};
    switch (api) {
        case RequestType::kInitMemberAuth: {
            const Json::Value& info = JsonMember(*root, "info");
            const Json::Value& id = JsonMember(info, "id");
            if (id.isNumeric() && !id.isUInt()) return {E_INVALIDARG};
            return {S_OK, {JsonText(info, "public_key"), id.isUInt() ? id.asUInt() : 0}};
        }
        case RequestType::kRefreshMemberToken: return {S_OK, {JsonText(*root, "info")}};
        default: return {E_NOTIMPL};
    }
}

Outcome<MemberTokenClaims> ReadMemberTokenClaims(std::string_view payload) {
    const std::optional<Json::Value> root = ParseJson(payload);
    if (!root || !root->isObject()) return {E_INVALIDARG};
    const Json::Value& expiry = JsonMember(*root, "exp");
    const Json::Value& memberId = JsonMember(*root, "memberId");
    return {S_OK, {expiry.isInt64() ? expiry.asInt64() : 0, memberId.isUInt64() ? memberId.asUInt64() : 0}};
}

Outcome<std::string> ReadRenewedMemberToken(std::string_view text) {
    const std::optional<Json::Value> root = ParseJson(text);
    if (!root) return {E_INVALIDARG};
    return {S_OK, JsonText(*root, "memberToken")};
}

}  // namespace qsn
