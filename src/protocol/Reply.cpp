#include "protocol/Reply.h"

#include <iterator>
#include <utility>

#include "Utility/Json.h"
#include "Utility/Text.h"
#include "objects/CQSNMenuItem.h"
#include "objects/CQSNUserInfo.h"
#include "objects/DataSetList.h"
#include "protocol/ProductPayload.h"
#include "protocol/ResultCodes.h"

namespace qsn {
namespace {

UniqueCom<CQSNUserMenu> ReadUserMenu(const Json::Value& elements) {
    UniqueCom<CQSNUserMenu> menu(new CQSNUserMenu);
    if (!elements.isArray()) return menu;
    for (const Json::Value& element : elements) {
        const UniqueCom<CQSNMenuItem> item(new CQSNMenuItem(JsonText(element, "item"), JsonText(element, "url")));
        menu->Append(item.get());
    }
    return menu;
}

UniqueCom<IQSNUserInfo> ReadUserInfo(const Json::Value& data) {
    UniqueCom<CQSNUserInfo> userInfo(
        new CQSNUserInfo(JsonText(data, "userID"), JsonText(data, "userName"), JsonText(data, "userEmail")));
    userInfo->SetUserMenu(ReadUserMenu(JsonMember(data, "userMenu")).get());
    return userInfo;
}

static_assert(sizeof(QSN_GI_QUOTA) == 64, "hosts copy the record as it is");

void ReadQuota(const Json::Value& data, QSN_GI_QUOTA* quota) {
    const std::wstring resetDate = Utf8ToWide(JsonText(data, "reset_date"));
    quota->resetDate[resetDate.copy(quota->resetDate, std::size(quota->resetDate) - 1)] = L'\0';
    quota->remainCount = static_cast<std::uint32_t>(JsonInt(data, "remain_count"));
}

}  // namespace

Outcome<ReplyEnvelope> ReadEnvelope(std::string_view reply) {
    std::optional<Json::Value> root = ParseJson(reply);
    if (!root) return {E_INVALIDARG};
    if (!root->isObject() || !root->isMember("result")) return {kReplyWithoutResult};
    if (!JsonMember(*root, "result").isConvertibleTo(Json::intValue)) return {kReplyWithoutResult};
    return {S_OK, {JsonInt(*root, "result"), JsonText(*root, "additionalMessage"), TakeJsonMember(*root, "data")}};
}

Outcome<ReplyPayload> ReadPayload(RequestType type, Json::Value source) {
    Outcome<ReplyPayload> outcome;
    ReplyPayload& payload = outcome.value;
    payload.source = std::move(source);
    const Json::Value& data = payload.source;
    if (data.isObject() && data.isMember("nextVerifyTime")) payload.nextVerifyTime = JsonInt(data, "nextVerifyTime");
    switch (type) {
        case RequestType::kSignOut:
        case RequestType::kVerifyToken:
        case RequestType::kLogGIQuota: break;
        case RequestType::kGetUserInfo:
            payload.userInfo = ReadUserInfo(data);
            payload.userID = JsonText(data, "userID");
            break;
        case RequestType::kGetProductListV2:
            // In the second generation nothing at all is an answer too, and not the same as an empty list.
            if (data.isNull()) break;
            [[fallthrough]];
        case RequestType::kGetProductList: payload.productList = ReadProductList(data); break;
        case RequestType::kQueryGIQuota: ReadQuota(data, &payload.quota); break;
        default: outcome.result = E_NOTIMPL;
    }
    return outcome;
}

}  // namespace qsn
