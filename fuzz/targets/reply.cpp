// Replies of the account service: the envelope, and what the library makes of its data for each kind of request.
#include <algorithm>
#include <iterator>
#include <string>

#include "Utility/Json.h"
#include "Utility/Text.h"
#include "protocol/Reply.h"
#include "protocol/ResultCodes.h"
#include "support/Records.h"
#include "support/Require.h"

namespace {

using qsn::JsonText;
using qsn::RequestType;

void CheckUserInfo(const Json::Value& data, const qsn::ReplyPayload& payload) {
    REQUIRE(payload.userInfo && payload.userID == JsonText(data, "userID"));
    qsn::fuzz::RequireText(*payload.userInfo, QSN_USER_ID, payload.userID);
    qsn::fuzz::RequireText(*payload.userInfo, QSN_USER_NAME, JsonText(data, "userName"));
    qsn::fuzz::RequireText(*payload.userInfo, QSN_USER_EMAIL, JsonText(data, "userEmail"));
    qsn::fuzz::RequireNoField(*payload.userInfo, QSN_USER_EMAIL + 1);

    qsn::UniqueCom<IQSNList> menu;
    REQUIRE(payload.userInfo->GetUserMenu(qsn::Out(menu)) == S_OK);
    const Json::Value& elements = qsn::JsonMember(data, "userMenu");
    const uint32_t count = elements.isArray() ? elements.size() : 0;
    REQUIRE(menu->GetCount() == count);
    for (uint32_t i = 0; i < count; ++i) {
        const auto item = qsn::fuzz::Item(*menu, i);
        qsn::fuzz::RequireText(*item, QSN_MENU_ITEM, JsonText(elements[i], "item"));
        qsn::fuzz::RequireText(*item, QSN_MENU_URL, JsonText(elements[i], "url"));
    }
}

void CheckQuota(const Json::Value& data, const QSN_GI_QUOTA& quota) {
    const std::wstring date = qsn::Utf8ToWide(JsonText(data, "reset_date"));
    const std::size_t kept = std::min(date.size(), std::size(quota.resetDate) - 1);
    REQUIRE(std::wstring_view(quota.resetDate, kept) == std::wstring_view(date).substr(0, kept));
    REQUIRE(quota.size == sizeof(quota) && quota.resetDate[kept] == L'\0');
    REQUIRE(quota.remainCount == static_cast<std::uint32_t>(qsn::JsonInt(data, "remain_count")));
}

void CheckPayload(RequestType type, const Json::Value& data) {
    const bool hasPayload = type != RequestType::kInitMemberAuth && type != RequestType::kRefreshMemberToken;
    const auto [hr, payload] = qsn::ReadPayload(type, data);
    REQUIRE(hr == (hasPayload ? S_OK : E_NOTIMPL));
    REQUIRE(payload.nextVerifyTime.has_value() == (data.isObject() && data.isMember("nextVerifyTime")));
    const bool isList = type == RequestType::kGetProductList || type == RequestType::kGetProductListV2;
    const bool isNothing = type == RequestType::kGetProductListV2 && data.isNull();
    REQUIRE((payload.userInfo != nullptr) == (type == RequestType::kGetUserInfo));
    REQUIRE((payload.productList != nullptr) == (isList && !isNothing));
    if (type == RequestType::kGetUserInfo) CheckUserInfo(data, payload);
    if (type == RequestType::kQueryGIQuota) CheckQuota(data, payload.quota);
    if (payload.productList) REQUIRE(payload.productList->GetCount() == (data.isArray() ? data.size() : 0));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view reply(reinterpret_cast<const char*>(data), size);
    const auto [hr, envelope] = qsn::ReadEnvelope(reply);
    const std::optional<Json::Value> root = qsn::ParseJson(reply);
    if (!root) {
        REQUIRE(hr == E_INVALIDARG);
        return 0;
    }
    const bool complete = qsn::JsonMember(*root, "result").isConvertibleTo(Json::intValue) && root->isObject() &&
                          root->isMember("result");
    REQUIRE(hr == (complete ? S_OK : qsn::kReplyWithoutResult));
    if (!complete) return 0;
    REQUIRE(envelope.result == qsn::JsonInt(*root, "result"));
    REQUIRE(envelope.additionalMessage == JsonText(*root, "additionalMessage"));
    REQUIRE(envelope.data == qsn::JsonMember(*root, "data"));
    for (const RequestType type :
         {RequestType::kSignOut, RequestType::kGetUserInfo, RequestType::kGetProductList, RequestType::kVerifyToken,
          RequestType::kQueryGIQuota, RequestType::kLogGIQuota, RequestType::kGetProductListV2,
          RequestType::kInitMemberAuth, RequestType::kRefreshMemberToken})
        CheckPayload(type, envelope.data);
    return 0;
}
