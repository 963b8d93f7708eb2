#include "protocol/MemberAuthMessages.h"

#include "Utility/Json.h"
#include "protocol/ResultCodes.h"

namespace qsn {
namespace {

HRESULT Write(const Json::Value& root, std::string* text) { return WriteJson(root, text) ? S_OK : E_OUTOFMEMORY; }

}  // namespace

HRESULT WriteMemberInitBody(const std::string& productSID, std::string* body) {
    Json::Value root;
    root["sid"] = productSID;
    root["version"] = 1;
    return Write(root, body);
}

HRESULT WriteMemberRefreshSecret(const std::string& refreshToken, std::uint64_t memberId, std::string* text) {
    Json::Value root;
    root["refreshToken"] = refreshToken;
    root["memberId"] = Json::UInt64{memberId};
    return Write(root, text);
}

HRESULT WriteMemberRefreshBody(const std::string& wrappedKey, const std::string& encryptedSecret, std::uint32_t keyId,
                               std::string* body) {
    Json::Value root;
    root["a"] = wrappedKey;
    root["data"] = encryptedSecret;
    root["k"] = Json::UInt{keyId};
    return Write(root, body);
}

MemberAuthReply ReadMemberAuthResult(std::string_view reply) {
    Json::Value root;
    if (!ParseJson(reply, &root)) return {};
    const Json::Value& result = JsonMember(root, "result");
    return {result.isConvertibleTo(Json::intValue) ? result.asInt() : kUnreadableResult,
            JsonText(root, "additionalMessage")};
}

HRESULT ParseMemberAuthResponse(RequestType api, std::string_view reply, std::uint32_t* identifier, std::string* text) {
    Json::Value root;
    if (!ParseJson(reply, &root)) return E_INVALIDARG;
    if (!root.isObject() || !root.isMember("status")) return kReplyWithoutResult;
    if (JsonText(root, "status") != "SUCCESS") return S_OK;
    switch (api) {
        case RequestType::kInitMemberAuth: {
            const Json::Value& info = JsonMember(root, "info");
            const Json::Value& id = JsonMember(info, "id");
            if (id.isNumeric() && !id.isUInt()) return E_INVALIDARG;
            *identifier = id.isUInt() ? id.asUInt() : 0;
            *text = JsonText(info, "public_key");
            return S_OK;
        }
        case RequestType::kRefreshMemberToken: *text = JsonText(root, "info"); return S_OK;
        default: return E_NOTIMPL;
    }
}

HRESULT ReadMemberTokenClaims(std::string_view payload, MemberTokenClaims* claims) {
    Json::Value root;
    if (!ParseJson(payload, &root) || !root.isObject()) return E_INVALIDARG;
    const Json::Value& expiry = JsonMember(root, "exp");
    claims->expiry = expiry.isInt64() ? expiry.asInt64() : 0;
    const Json::Value& memberId = JsonMember(root, "memberId");
    claims->memberId = memberId.isUInt64() ? memberId.asUInt64() : 0;
    return S_OK;
}

HRESULT ReadRenewedMemberToken(std::string_view text, std::string* token) {
    Json::Value root;
    if (!ParseJson(text, &root)) return E_INVALIDARG;
    *token = JsonText(root, "memberToken");
    return S_OK;
}

}  // namespace qsn
