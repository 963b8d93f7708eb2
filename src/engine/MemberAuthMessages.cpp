#include "engine/MemberAuthMessages.h"

#include "Utility/Json.h"
#include "engine/ResultCodes.h"

namespace qsn {
namespace {

HRESULT Write(const Json::Value& root, std::string* text) { return WriteJson(root, text) ? S_OK : E_OUTOFMEMORY; }

std::int64_t Int64Member(const Json::Value& object, const char* member) {
    const Json::Value& value = JsonMember(object, member);
    return value.isInt64() ? value.asInt64() : 0;
}

}  // namespace

HRESULT WriteMemberInitBody(const std::string& productSID, std::string* body) {
    Json::Value root;
    root["sid"] = productSID;
    root["version"] = 1;
    return Write(root, body);
}

HRESULT WriteMemberRefreshSecret(const std::string& refreshToken, std::int32_t memberId, std::string* text) {
    Json::Value root;
    root["refreshToken"] = refreshToken;
    root["memberId"] = memberId;
    return Write(root, text);
}

HRESULT WriteMemberRefreshBody(const std::string& wrappedKey, const std::string& encryptedSecret, std::uint32_t keyId,
                               std::string* body) {
    Json::Value root;
    root["a"] = wrappedKey;
    root["data"] = encryptedSecret;
    root["k"] = static_cast<std::int32_t>(keyId);
    return Write(root, body);
}

void ReadMemberAuthResult(std::string_view reply, MemberAuthReply* envelope) {
    Json::Value root;
    if (!ParseJson(reply, &root)) return;
    const Json::Value& result = JsonMember(root, "result");
    envelope->result = result.isConvertibleTo(Json::intValue) ? result.asInt() : kUnreadableResult;
    envelope->additionalMessage = JsonText(root, "additionalMessage");
}

HRESULT ParseMemberAuthResponse(RequestType api, std::string_view reply, std::uint32_t* identifier, std::string* text) {
    Json::Value root;
    if (!ParseJson(reply, &root)) return E_INVALIDARG;
    if (!root.isObject() || !root.isMember("status")) return kReplyWithoutResult;
    if (JsonText(root, "status") != "SUCCESS") return S_OK;
    switch (api) {
        case RequestType::kInitMemberAuth: {
            const Json::Value& info = JsonMember(root, "info");
            *text = JsonText(info, "public_key");
            *identifier = static_cast<std::uint32_t>(JsonInt(info, "id"));
            return S_OK;
        }
        case RequestType::kRefreshMemberToken: *text = JsonText(root, "info"); return S_OK;
        default: return E_NOTIMPL;
    }
}

HRESULT ReadMemberTokenClaims(std::string_view payload, MemberTokenClaims* claims) {
    Json::Value root;
    if (!ParseJson(payload, &root) || !root.isObject()) return E_INVALIDARG;
    claims->expiry = Int64Member(root, "exp");
    claims->memberId = JsonInt(root, "memberId");
    return S_OK;
}

HRESULT ReadRenewedMemberToken(std::string_view text, std::string* token) {
    Json::Value root;
    if (!ParseJson(text, &root)) return E_INVALIDARG;
    *token = JsonText(root, "memberToken");
    return S_OK;
}

}  // namespace qsn
