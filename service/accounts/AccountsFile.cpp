#include "service/accounts/AccountsFile.h"

#include <json/reader.h>

#include <algorithm>
#include <fstream>
#include <iterator>
#include <limits>
#include <memory>
#include <set>
#include <span>

#include "service/accounts/ProductMembers.h"
#include "service/text/Text.h"

namespace qsn::service {
namespace {

// A value with its place in the document, so that each complaint can name it.
class Node {
public:
    Node(const Json::Value& value, std::string place) : value_(value), place_(std::move(place)) {}

    [[noreturn]] void Complain(const std::string& problem) const { throw AccountsError(place_ + ": " + problem); }

    const Json::Value& Value() const { return value_; }

    const Node& Object(std::span<const std::string_view> known) const {
        if (!value_.isObject()) Complain("an object is needed");
        for (const std::string& name : value_.getMemberNames()) {
            if (std::find(known.begin(), known.end(), name) == known.end()) Complain("unknown member \"" + name + '"');
        }
        return *this;
    }

    Node Member(const std::string& member) const {
        if (!value_.isMember(member)) Complain("member \"" + member + "\" is missing");
        return {value_[member], place_ + '.' + member};
    }

    std::optional<Node> Optional(const std::string& member) const {
        return value_.isMember(member) ? std::optional(Member(member)) : std::nullopt;
    }

    std::vector<Node> Elements() const {
        if (!value_.isArray()) Complain("an array is needed");
        std::vector<Node> elements;
        for (Json::ArrayIndex i = 0; i < value_.size(); ++i) {
            elements.emplace_back(value_[i], place_ + '[' + std::to_string(i) + ']');
        }
        return elements;
    }

    std::vector<std::pair<std::string, Node>> Members() const {
        if (!value_.isObject()) Complain("an object is needed");
        std::vector<std::pair<std::string, Node>> members;
        for (const std::string& name : value_.getMemberNames()) members.emplace_back(name, Member(name));
        return members;
    }

    std::string Text() const {
        if (!value_.isString()) Complain("a text is needed");
        return value_.asString();
    }

    std::string NonEmptyText() const {
        std::string text = Text();
        if (text.empty()) Complain("the text must not be empty");
        return text;
    }

    int Number(int least = std::numeric_limits<int>::min()) const {
        if (!value_.isInt()) Complain("a whole number of 32 bits is needed");
        if (value_.asInt() < least) Complain("the number must be at least " + std::to_string(least));
        return value_.asInt();
    }

    bool Bool() const {
        if (!value_.isBool()) Complain("true or false is needed");
        return value_.asBool();
    }

private:
    const Json::Value& value_;
    std::string place_;
};

constexpr std::string_view kRootMembers[] = {"users", "productSids"};
constexpr std::string_view kTokenMembers[] = {"token", "site", "result", "permanent"};
constexpr std::string_view kMenuMembers[] = {"item", "url"};
constexpr std::string_view kQuotaMembers[] = {"resetDate", "remainCount"};
constexpr std::string_view kUserMembers[] = {
    "userID",     "userName", "userEmail", "accessTokens",   "memberTokens",  "userMenu", "products",
    "productsV2", "quotas",   "messages",  "nextVerifyTime", "refreshTokens", "memberId", "memberTokenLifetime",
    "password"};

// The longest access token that the library takes, in characters.
constexpr std::size_t kLongestToken = 63;

Site ReadSite(const Node& node) {
    const std::string text = node.Text();
    if (text != "production" && text != "staging") node.Complain("\"production\" or \"staging\" is needed");
    return text == "staging" ? Site::kStaging : Site::kProduction;
}

std::string ReadTokenText(const Node& node) {
    std::string text = node.NonEmptyText();
    if (text.size() > kLongestToken) node.Complain("an access token has at most 63 characters");
    return text;
}

AccessToken ReadToken(const Node& node) {
    if (node.Value().isString()) return {ReadTokenText(node)};
    node.Object(kTokenMembers);
    AccessToken token{ReadTokenText(node.Member("token"))};
    if (const auto site = node.Optional("site")) token.site = ReadSite(*site);
    if (const auto result = node.Optional("result")) token.result = result->Number();
    if (const auto permanent = node.Optional("permanent")) token.permanent = permanent->Bool();
    return token;
}

Json::Value ReadProducts(const Node& node) {
    for (const Node& product : node.Elements()) {
        for (const auto& [name, value] : product.Members()) {
            const ProductMember* member = FindProductMember(name);
            if (!member) product.Complain("unknown member \"" + name + '"');
            member->isNumber ? static_cast<void>(value.Number()) : static_cast<void>(value.Text());
        }
    }
    return node.Value();
}

std::vector<std::string> ReadTexts(const Node& node) {
    std::vector<std::string> texts;
    for (const Node& text : node.Elements()) texts.push_back(text.NonEmptyText());
    return texts;
}

std::vector<MenuItem> ReadMenu(const Node& node) {
    std::vector<MenuItem> menu;
    for (const Node& entry : node.Elements()) {
        entry.Object(kMenuMembers);
        menu.push_back({entry.Member("item").Text(), entry.Member("url").Text()});
    }
    return menu;
}

std::map<std::string, Quota> ReadQuotas(const Node& node) {
    std::map<std::string, Quota> quotas;
    for (const auto& [sid, quota] : node.Members()) {
        quota.Object(kQuotaMembers);
        quotas[sid] = {quota.Member("resetDate").Text(), quota.Member("remainCount").Number(0)};
    }
    return quotas;
}

User ReadUser(const Node& node) {
    node.Object(kUserMembers);
    User user{node.Member("userID").NonEmptyText(), node.Member("userName").Text(), node.Member("userEmail").Text()};
    for (const Node& token : node.Member("accessTokens").Elements()) user.accessTokens.push_back(ReadToken(token));
    if (const auto tokens = node.Optional("memberTokens")) user.memberTokens = ReadTexts(*tokens);
    if (const auto tokens = node.Optional("refreshTokens")) user.refreshTokens = ReadTexts(*tokens);
    const auto memberId = node.Optional("memberId");
    user.memberId = memberId ? memberId->Number() : NumberIn<int>(user.userId).value_or(0);
    if (const auto lifetime = node.Optional("memberTokenLifetime")) user.memberTokenLifetime = lifetime->Number();
    if (const auto menu = node.Optional("userMenu")) user.menu = ReadMenu(*menu);
    if (const auto products = node.Optional("products")) user.products = ReadProducts(*products);
    const auto productsV2 = node.Optional("productsV2");
    if (productsV2 && !productsV2->Value().isNull()) user.productsV2 = ReadProducts(*productsV2);
    if (const auto quotas = node.Optional("quotas")) user.quotas = ReadQuotas(*quotas);
    if (const auto messages = node.Optional("messages")) {
        for (const auto& [type, message] : messages->Members()) user.messages[type] = message.Text();
    }
    if (const auto seconds = node.Optional("nextVerifyTime")) user.nextVerifyTime = seconds->Number();
    if (const auto password = node.Optional("password")) user.password = password->NonEmptyText();
    return user;
}

// Two users under one token would make the answer depend on their order.
void RequireDistinctTokens(const Accounts& accounts) {
    std::set<std::string> seen;
    const auto require = [&](const std::string& token) {
        if (!seen.insert(token).second) throw AccountsError("users: token \"" + token + "\" is there twice");
    };
    for (const User& user : accounts.users) {
        for (const AccessToken& token : user.accessTokens) require(token.text);
        for (const std::string& token : user.memberTokens) require(token);
        for (const std::string& token : user.refreshTokens) require(token);
    }
}

// The reader's complaint over several lines ("* Line 1, Column 2\n  Missing ...") as one.
std::string OneLine(const std::string& text) {
    std::string line;
    for (const char c : text) {
        if (c == '\n' || c == ' ') {
            if (!line.empty() && line.back() != ' ') line += ' ';
        } else if (c != '*') {
            line += c;
        }
    }
    while (!line.empty() && line.back() == ' ') line.pop_back();
    return line;
}

}  // namespace

Accounts ParseAccounts(std::string_view text) {
    Json::CharReaderBuilder builder;
    Json::CharReaderBuilder::strictMode(&builder.settings_);
    const std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
    Json::Value root;
    std::string problems;
    try {
        if (!reader->parse(text.data(), text.data() + text.size(), &root, &problems)) {
            throw AccountsError("no valid JSON: " + OneLine(problems));
        }
    } catch (const Json::Exception& error) {
        throw AccountsError("no valid JSON: " + OneLine(error.what()));
    }
    const Node node(root, "accounts");
    Accounts accounts;
    for (const Node& user : node.Object(kRootMembers).Member("users").Elements()) {
        accounts.users.push_back(ReadUser(user));
    }
    if (const auto sids = node.Optional("productSids")) accounts.productSids = ReadTexts(*sids);
    RequireDistinctTokens(accounts);
    return accounts;
}

Accounts LoadAccounts(const std::filesystem::path& file) {
    std::ifstream stream(file, std::ios::binary);
    if (!stream) throw AccountsError(file.string() + ": cannot be opened");
    const std::string text{std::istreambuf_iterator<char>(stream), {}};
    try {
        return ParseAccounts(text);
    } catch (const AccountsError& error) {
        throw AccountsError(file.string() + ": " + error.what());
    }
}

}  // namespace qsn::service
