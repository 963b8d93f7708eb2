#include "service/accounts/AccountsFile.h"

#include <gmock/gmock.h>

namespace {

using namespace qsn::service;
using namespace testing;

TEST(AccountsFile, NamesThePlaceOfAFault) {
    const auto user = [](const std::string& more) {
        return R"({"users":[{"userID":"1","userName":"","userEmail":"","accessTokens":["a"])" + more + "}]}";
    };
    const std::pair<std::string, const char*> rows[] = {
        {R"({"users":[})", "no valid JSON: Line 1, Column 11"},
        {R"({})", "accounts: member \"users\" is missing"},
        {std::string(3000, '['), "no valid JSON"},
        {user(R"(,"usermenu":[])"), "accounts.users[0]: unknown member \"usermenu\""},
        {user(R"(,"userMenu":[{"item":"x","url":3}])"), "accounts.users[0].userMenu[0].url: a text is needed"},
        {user(R"(,"products":[{"FileSize":12}])"), "accounts.users[0].products[0].FileSize: a text is needed"},
        {user(R"(,"quotas":{"S":{"resetDate":"","remainCount":-1}})"), "remainCount: the number must be at least 0"},
        {user(R"(,"memberTokens":["a"])"), "token \"a\" is there twice"},
        {user(R"(,"memberId":"7")"), "accounts.users[0].memberId: a whole number"},
        {user(R"(,"password":"")"), "accounts.users[0].password: the text must not be empty"},
        {R"({"users":[],"productSids":"S"})", "accounts.productSids: an array is needed"}};
    EXPECT_NO_THROW(ParseAccounts(user("")));
    for (const auto& [text, complaint] : rows) {
        try {
            ParseAccounts(text);
            ADD_FAILURE() << "accepted: " << text;
        } catch (const AccountsError& error) {
            EXPECT_THAT(error.what(), AllOf(HasSubstr(complaint), Not(HasSubstr("\n"))));
        }
    }
}

}  // namespace
