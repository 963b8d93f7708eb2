#include "service/operations/Operations.h"

#include <algorithm>
#include <array>

#include "service/text/JsonText.h"

namespace qsn::service {
namespace {

constexpr std::string_view kRequestPath = "/qsn/service/request";
constexpr std::string_view kQuotaQueryPath = "/qsn/service/gi_count/query";
constexpr std::string_view kQuotaLogPath = "/qsn/service/gi_count/log";
constexpr std::string_view kProductsV2Path = "/qsn/service/v2/getProductList";

// The "result" numbers that the service gives by itself; accounts and scripts add others.
enum class ServerResult {
    kTokenRefused = 1,  // unknown, signed out, or of the other site
    kQuotaUsedUp = 6,
    kNoMemberAccess = 102  // member token unknown
};

Envelope Failure(ServerResult result) { return {static_cast<int>(result)}; }

AccessToken* TokenOf(User& user, std::string_view text) {
    const auto found = std::find_if(user.accessTokens.begin(), user.accessTokens.end(),
                                    [&](const AccessToken& token) { return token.text == text; });
    return found == user.accessTokens.end() ? nullptr : &*found;
}

std::string MessageFor(const User& user, const std::string& requestType) {
    const auto message = user.messages.find(requestType);
    return message == user.messages.end() ? std::string{} : message->second;
}

void AddNextVerifyTime(Json::Value& data, const User& user) {
    if (user.nextVerifyTime) data["nextVerifyTime"] = *user.nextVerifyTime;
}

// What every operation under an access token has in common: whose it is, and what the account has to say about it.
template <typename Answer>
Envelope AsUser(const OperationRequest& request, const char* requestType, Answer answer) {
    const std::string text = TextOf(request.body, "accessToken");
    User* user = request.accounts.FindByAccessToken(text);
    if (!user) return Failure(ServerResult::kTokenRefused);
    const AccessToken& token = *TokenOf(*user, text);
    if (token.site.value_or(request.site) != request.site) return Failure(ServerResult::kTokenRefused);
    Envelope envelope = token.result != 0 ? Envelope{token.result} : answer(*user, token);
    envelope.additionalMessage = MessageFor(*user, requestType);
    return envelope;
}

Envelope GetUserInfo(const OperationRequest& request) {
    return AsUser(request, "getUserInfo", [](const User& user, const AccessToken&) {
        Envelope envelope;
        envelope.data["userID"] = user.userId;
        envelope.data["userName"] = user.userName;
        envelope.data["userEmail"] = user.userEmail;
        Json::Value& menu = envelope.data["userMenu"] = Json::Value(Json::arrayValue);
        for (const MenuItem& entry : user.menu) {
            Json::Value& item = menu.append(Json::Value(Json::objectValue));
            item["item"] = entry.item;
            item["url"] = entry.url;
        }
        AddNextVerifyTime(envelope.data, user);
        return envelope;
    });
}

Envelope VerifyToken(const OperationRequest& request) {
    return AsUser(request, "verifyToken", [](const User& user, const AccessToken&) {
        Envelope envelope{0, {}, Json::Value(Json::objectValue)};
        AddNextVerifyTime(envelope.data, user);
        return envelope;
    });
}

Envelope SignOut(const OperationRequest& request) {
    return AsUser(request, "signOut", [](User& user, const AccessToken& token) {
        if (!token.permanent) {
            const std::string text = token.text;
            std::erase_if(user.accessTokens, [&](const AccessToken& held) { return held.text == text; });
        }
        return Envelope{};
    });
}

Envelope GetProductList(const OperationRequest& request) {
    return AsUser(request, "getProductList", [](const User& user, const AccessToken&) {
        return Envelope{0, {}, user.products};
    });
}

Envelope GetProductListV2(const OperationRequest& request) {
    const User* user = request.accounts.FindByMemberToken(TextOf(request.body, "memberToken"));
    if (!user) return Failure(ServerResult::kNoMemberAccess);
    return {0, MessageFor(*user, "getProductListV2"), user->productsV2};
}

Quota* QuotaOf(User& user, const Json::Value& body) {
    auto found = user.quotas.find(TextOf(body.get("data", Json::nullValue), "sid"));
    if (found == user.quotas.end()) found = user.quotas.find("*");
    return found == user.quotas.end() ? nullptr : &found->second;
}

Envelope QueryQuota(const OperationRequest& request) {
    return AsUser(request, "gicount_query", [&](User& user, const AccessToken&) {
        const Quota* quota = QuotaOf(user, request.body);
        Envelope envelope;
        envelope.data["reset_date"] = quota ? quota->resetDate : std::string{};
        envelope.data["remain_count"] = quota ? quota->remainCount : 0;
        AddNextVerifyTime(envelope.data, user);
        return envelope;
    });
}

Envelope LogQuota(const OperationRequest& request) {
    return AsUser(request, "gicount_log", [&](User& user, const AccessToken&) {
        Quota* quota = QuotaOf(user, request.body);
        if (!quota || quota->remainCount <= 0) return Failure(ServerResult::kQuotaUsedUp);
        --quota->remainCount;
        return Envelope{};
    });
}

constexpr std::array kOperations{Operation{"getUserInfo", kRequestPath, true, GetUserInfo},
                                 Operation{"verifyToken", kRequestPath, true, VerifyToken},
                                 Operation{"signOut", kRequestPath, true, SignOut},
                                 Operation{"getProductList", kRequestPath, true, GetProductList},
                                 Operation{"gicount_query", kQuotaQueryPath, true, QueryQuota},
                                 Operation{"gicount_log", kQuotaLogPath, true, LogQuota},
                                 Operation{"getProductListV2", kProductsV2Path, false, GetProductListV2}};

}  // namespace

std::string Envelope::Write() const {
    Json::Value root;
    root["result"] = result;
    if (!additionalMessage.empty()) root["additionalMessage"] = additionalMessage;
    root["data"] = data;
    return WriteJson(root);
}

bool IsOperationPath(std::string_view path) {
    return std::any_of(kOperations.begin(), kOperations.end(), [&](const Operation& row) { return row.path == path; });
}

const Operation* FindOperation(std::string_view path, std::string_view requestType) {
    const auto found = std::find_if(kOperations.begin(), kOperations.end(), [&](const Operation& row) {
        return row.path == path && (!row.namedInBody || row.requestType == requestType);
    });
    return found == kOperations.end() ? nullptr : &*found;
}

}  // namespace qsn::service
