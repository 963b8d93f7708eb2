#include <gmock/gmock.h>

#include "service/accounts/AccountsFile.h"
#include "service/pages/LoginTickets.h"
#include "service/pages/RequestHistory.h"

namespace {

using namespace qsn::service;

TEST(LoginTickets, AreGoodForALimitedTime) {
    LoginTickets::Clock::time_point now{};
    LoginTickets tickets([&] { return now; });
    const std::string first = tickets.Issue({"S1"}), second = tickets.Issue({"S2"});
    now += LoginTickets::kLifetime - std::chrono::seconds(1);
    const std::string third = tickets.Issue({"S3"});
    EXPECT_TRUE(tickets.Take(first));
    now += std::chrono::seconds(1);
    EXPECT_FALSE(tickets.Take(second));
    EXPECT_EQ(tickets.Take(third).value().productSid, "S3");
}

TEST(Accounts, TakeNoLoginWithoutANameOrAPassword) {
    Accounts accounts = ParseAccounts(R"({"users": [
        {"userID": "1", "userName": "", "userEmail": "", "accessTokens": [], "password": "p"},
        {"userID": "2", "userName": "Tova", "userEmail": "", "accessTokens": []},
        {"userID": "3", "userName": "Tova", "userEmail": "", "accessTokens": [], "password": "pass"}]})");
    EXPECT_EQ(accounts.FindByLogin("Tova", "pass")->userId, "3");
    for (const auto& [name, password] : {std::pair("Tova", ""), {"", "p"}, {"Tov", "pass"}, {"Tova", "p"}}) {
        EXPECT_EQ(accounts.FindByLogin(name, password), nullptr) << name << ' ' << password;
    }
}

TEST(RequestHistory, IsBounded) {
    RequestHistory history(2);
    RecordedRequest request;
    request.body = std::string(1 << 20, 'x');
    for (int i = 0; i < 3; ++i) history.Add(request);
    const auto entries = history.Entries();
    ASSERT_EQ(entries.size(), 2u);
    EXPECT_EQ(entries[0].number, 3u);
    EXPECT_LT(entries[0].details.at(1).second.size(), 100000u);
}

}  // namespace
