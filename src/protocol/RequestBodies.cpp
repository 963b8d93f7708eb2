#include "protocol/RequestBodies.h"

#include <json/value.h>

#include <algorithm>
#include <array>

#include "Utility/Json.h"

namespace qsn {
namespace {

Json::Value Text(std::string_view text) { return {text.data(), text.data() + text.size()}; }

void AddDevice(const RequestValues& values, Json::Value& data) {
    data["sid"] = values.productSID;
    data["machineName"] = values.machineName;
    data["machineID"] = values.machineID;
}

void AddNothing(const RequestValues&, Json::Value&) {}

void AddSignOut(const RequestValues& values, Json::Value& data) {
    AddDevice(values, data);
    data["memberToken"] = Text(values.memberToken);
    data["refreshToken"] = Text(values.refreshToken);
}

void AddProductSID(const RequestValues& values, Json::Value& data) { data["sid"] = values.productSID; }

void AddListSelection(const RequestValues& values, Json::Value& data) {
    data["lang"] = values.language;
    if (values.platform == 1) data["platform"] = "x64";
    if (values.platform == 2) data["platform"] = "x86";
}

struct BodyForm {
    RequestType type;
    const char* requestType;  // null: only the address names the operation, and the member token takes the place of
                              // the access token
    void (*addData)(const RequestValues&, Json::Value&);
};

constexpr std::array kBodyForms{
    BodyForm{RequestType::kSignOut, "signOut", AddSignOut},
    BodyForm{RequestType::kGetUserInfo, "getUserInfo", AddNothing},
    BodyForm{RequestType::kGetProductList, "getProductList", AddListSelection},
    BodyForm{RequestType::kVerifyToken, "verifyToken", AddDevice},
    BodyForm{RequestType::kQueryGIQuota, "gicount_query", AddProductSID},
    BodyForm{RequestType::kLogGIQuota, "gicount_log", AddProductSID},
    BodyForm{RequestType::kGetProductListV2, nullptr, AddListSelection},
};

Json::Value MakeBody(const BodyForm& form, const RequestValues& values) {
    Json::Value root(Json::objectValue);
    root["version"] = 1;
    if (form.requestType) {
        root["accessToken"] = Text(values.accessToken);
        if (!values.extendData.empty()) root["ExtendData"] = values.extendData;
        root["requestType"] = form.requestType;
    } else {
        root["memberToken"] = Text(values.memberToken);
    }
    Json::Value data;  // stays null, and is sent as such, if the form adds nothing
    form.addData(values, data);
    root["data"] = std::move(data);
    return root;
}

}  // namespace

Outcome<std::string> WriteRequestBody(RequestType type, const RequestValues& values) {
    const auto form = std::ranges::find(kBodyForms, type, &BodyForm::type);
    if (form == kBodyForms.end()) return {E_NOTIMPL};
    return WriteJson(MakeBody(*form, values));
}

}  // namespace qsn
