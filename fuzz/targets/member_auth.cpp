// The texts of the member-auth exchange, read and written.
#include <algorithm>
#include <limits>
#include <string>

#include "Utility/Json.h"
#include "protocol/MemberAuthMessages.h"
#include "protocol/ResultCodes.h"
#include "support/Require.h"

namespace {

using qsn::JsonText;
using qsn::RequestType;

void CheckResponse(RequestType type, std::string_view reply, const Json::Value* root) {
    const auto [hr, value] = qsn::ParseMemberAuthResponse(type, reply);
    const bool isReply = root && root->isObject() && root->isMember("status");
    const bool succeeds = isReply && JsonText(*root, "status") == "SUCCESS";
    const bool isKnown = type == RequestType::kInitMemberAuth || type == RequestType::kRefreshMemberToken;
    const Json::Value& info = qsn::JsonMember(root ? *root : Json::Value::nullSingleton(), "info");
    const Json::Value& id = qsn::JsonMember(info, "id");
    const bool isUnfit = succeeds && type == RequestType::kInitMemberAuth && id.isNumeric() && !id.isUInt();
    REQUIRE(hr == (!root || isUnfit       ? E_INVALIDARG
                   : !isReply             ? qsn::kReplyWithoutResult
                   : succeeds && !isKnown ? E_NOTIMPL
                                          : S_OK));
    if (!succeeds || !isKnown || isUnfit) {
        REQUIRE(value.text.empty() && value.id == 0);
    } else if (type == RequestType::kRefreshMemberToken) {
        REQUIRE(value.text == JsonText(*root, "info") && value.id == 0);
    } else {
        REQUIRE(value.text == JsonText(info, "public_key"));
        REQUIRE(value.id == (id.isUInt() ? id.asUInt() : 0));
    }
}

void CheckClaims(std::string_view payload, const Json::Value* root) {
    const auto [hr, claims] = qsn::ReadMemberTokenClaims(payload);
    if (!root || !root->isObject()) {
        REQUIRE(hr == E_INVALIDARG);
        return;
    }
    const Json::Value& expiry = qsn::JsonMember(*root, "exp");
    REQUIRE(hr == S_OK && claims.expiry == (expiry.isInt64() ? expiry.asInt64() : 0));
    const Json::Value& memberId = qsn::JsonMember(*root, "memberId");
    REQUIRE(claims.memberId == (memberId.isUInt64() ? memberId.asUInt64() : 0));
}

// What the writer writes for `token`, read back.
std::string WrittenAndRead(const std::string& token, std::uint64_t memberId) {
    const std::string text = qsn::WriteMemberRefreshSecret(token, memberId).value;
    REQUIRE(std::ranges::count(text, '\n') == 1 && text.back() == '\n');
    const std::optional<Json::Value> root = qsn::ParseJson(text);
    REQUIRE(root && root->size() == 2);
    REQUIRE(qsn::JsonMember(*root, "memberId").asUInt64() == memberId);
    return JsonText(*root, "refreshToken");
}

// A text that is not UTF-8 cannot be sent unchanged. What is sent in its place can.
void CheckWriter(const std::string& token) {
    const bool isAscii = std::ranges::all_of(token, [](char c) { return static_cast<unsigned char>(c) < 0x80; });
    const std::string sent = WrittenAndRead(token, token.size());
    REQUIRE(!isAscii || sent == token);
    REQUIRE(WrittenAndRead(sent, std::numeric_limits<std::uint64_t>::max()) == sent);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    const std::optional<Json::Value> parsed = qsn::ParseJson(text);
    const Json::Value* const root = parsed ? &*parsed : nullptr;
    for (const RequestType type :
         {RequestType::kInitMemberAuth, RequestType::kRefreshMemberToken, RequestType::kGetUserInfo})
        CheckResponse(type, text, root);
    CheckClaims(text, root);

    const qsn::MemberAuthReply envelope = qsn::ReadMemberAuthResult(text);
    const bool isReadable = root && qsn::JsonMember(*root, "result").isConvertibleTo(Json::intValue);
    const int unreadable = root ? -1 : 0;
    REQUIRE(envelope.result == (isReadable ? qsn::JsonInt(*root, "result") : unreadable));
    REQUIRE(envelope.additionalMessage == (root ? JsonText(*root, "additionalMessage") : ""));

    const auto [hr, token] = qsn::ReadRenewedMemberToken(text);
    REQUIRE(hr == (root ? S_OK : E_INVALIDARG));
    REQUIRE(token == (root ? JsonText(*root, "memberToken") : ""));

    CheckWriter(std::string(text));
    return 0;
}
