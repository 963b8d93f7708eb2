#include "engine/Reply.h"

#include <utility>

#include "Utility/Json.h"
#include "engine/ResultCodes.h"
#include "objects/CQSNMenuItem.h"
#include "objects/CQSNUserInfo.h"
#include "objects/DataSetList.h"

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

}  // namespace

HRESULT ReadEnvelope(std::string_view reply, ReplyEnvelope* envelope) {
    Json::Value root;
    if (!ParseJson(reply, &root)) return E_INVALIDARG;
    if (!root.isObject() || !root.isMember("result")) return kReplyWithoutResult;
    if (!root["result"].isConvertibleTo(Json::intValue)) return kReplyWithoutResult;
    envelope->result = JsonInt(root, "result");
    envelope->additionalMessage = JsonText(root, "additionalMessage");
    envelope->data = JsonMember(root, "data");
    return S_OK;
}

HRESULT ReadPayload(RequestType type, const Json::Value& data, ReplyPayload* payload) {
    switch (type) {
        case RequestType::kSignOut:
        case RequestType::kLogGIQuota:
            return S_OK;
        case RequestType::kGetUserInfo:
            payload->userInfo = ReadUserInfo(data);
            payload->userID = JsonText(data, "userID");
            return S_OK;
        default:
            return E_NOTIMPL;
    }
}

}  // namespace qsn
