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

constexpr char kUntouched[] = "untouched";
constexpr std::uint32_t kUntouchedNumber = 0xDEADBEEF;

void CheckResponse(RequestType type, std::string_view reply, const Json::Value* root) {
    std::string text = kUntouched;
    std::uint32_t identifier = kUntouchedNumber;
    const HRESULT hr = qsn::ParseMemberAuthResponse(type, reply, &identifier, &text);
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
        REQUIRE(text == kUntouched && identifier == kUntouchedNumber);
    } else if (type == RequestType::kRefreshMemberToken) {
        REQUIRE(text == JsonText(*root, "info") && identifier == kUntouchedNumber);
    } else {
        REQUIRE(text == JsonText(info, "public_key"));
        REQUIRE(identifier == (id.isUInt() ? id.asUInt() : 0));
    }
}

void CheckClaims(std::string_view payload, const Json::Value* root) {
    qsn::MemberTokenClaims claims{-1, kUntouchedNumber};
    const HRESULT hr = qsn::ReadMemberTokenClaims(payload, &claims);
    if (!root || !root->isObject()) {
        REQUIRE(hr == E_INVALIDARG && claims.expiry == -1 && claims.memberId == kUntouchedNumber);
        return;
    }
    const Json::Value& expiry = qsn::JsonMember(*root, "exp");
    REQUIRE(hr == S_OK && claims.expiry == (expiry.isInt64() ? expiry.asInt64() : 0));
    const Json::Value& memberId = qsn::JsonMember(*root, "memberId");
    REQUIRE(claims.memberId == (memberId.isUInt64() ? memberId.asUInt64() : 0));
}

// What the writer puts out for `token`, read back.
std::string WrittenAndRead(const std::string& token, std::uint64_t memberId) {
    std::string text;
    REQUIRE(qsn::WriteMemberRefreshSecret(token, memberId, &text) == S_OK);
    REQUIRE(std::ranges::count(text, '\n') == 1 && text.back() == '\n');
    Json::Value root;
    REQUIRE(qsn::ParseJson(text, &root) && root.size() == 2);
    REQUIRE(qsn::JsonMember(root, "memberId").asUInt64() == memberId);
    return JsonText(root, "refreshToken");
}

// A text that is not UTF-8 cannot be sent as it is; what is sent for it is.
void CheckWriter(const std::string& token) {
    const bool isAscii = std::ranges::all_of(token, [](char c) { return static_cast<unsigned char>(c) < 0x80; });
    const std::string sent = WrittenAndRead(token, token.size());
    REQUIRE(!isAscii || sent == token);
    REQUIRE(WrittenAndRead(sent, std::numeric_limits<std::uint64_t>::max()) == sent);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    Json::Value parsed;
    const Json::Value* const root = qsn::ParseJson(text, &parsed) ? &parsed : nullptr;
    for (const RequestType type :
         {RequestType::kInitMemberAuth, RequestType::kRefreshMemberToken, RequestType::kGetUserInfo})
        CheckResponse(type, text, root);
    CheckClaims(text, root);

    const qsn::MemberAuthReply envelope = qsn::ReadMemberAuthResult(text);
    const bool isReadable = root && qsn::JsonMember(*root, "result").isConvertibleTo(Json::intValue);
    const int unreadable = root ? -1 : 0;
    REQUIRE(envelope.result == (isReadable ? qsn::JsonInt(*root, "result") : unreadable));
    REQUIRE(envelope.additionalMessage == (root ? JsonText(*root, "additionalMessage") : ""));

    std::string token = kUntouched;
    REQUIRE(qsn::ReadRenewedMemberToken(text, &token) == (root ? S_OK : E_INVALIDARG));
    REQUIRE(token == (root ? JsonText(*root, "memberToken") : kUntouched));

    CheckWriter(std::string(text));
    return 0;
}
