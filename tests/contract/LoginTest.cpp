#include <gmock/gmock.h>

#include "service/AccountsFile.h"
#include "service/LoginTickets.h"
#include "service/RequestHistory.h"

namespace qsn::service {
namespace {

TEST(LoginTickets, AreGoodOnceAndForALimitedTime) {
    LoginTickets::Clock::time_point now{};
    LoginTickets tickets([&] { return now; });
    const std::string first = tickets.Issue({"S1"}), second = tickets.Issue({"S2"});
    now += LoginTickets::kLifetime - std::chrono::seconds(1);
    const std::string third = tickets.Issue({"S3", Site::kStaging, LoginReturn{80, "state"}});
    EXPECT_EQ(tickets.Take(first).value().productSid, "S1");
    EXPECT_FALSE(tickets.Take(first));
    now += std::chrono::seconds(1);
    EXPECT_FALSE(tickets.Take(second));
    EXPECT_EQ(tickets.Take(third).value().handOver.value().port, 80);
    EXPECT_FALSE(tickets.Take(""));
}

TEST(Accounts, TakeThePasswordOfAUserByNameOrAddress) {
    Accounts accounts = ParseAccounts(R"({"productSids": ["S"], "users": [
        {"userID": "1", "userName": "", "userEmail": "", "accessTokens": [], "password": "p"},
        {"userID": "2", "userName": "Tova", "userEmail": "t@x.example", "accessTokens": []},
        {"userID": "3", "userName": "Tova", "userEmail": "T@X.example", "accessTokens": [], "password": "pass"}]})");
    const struct {
        std::string name, password, userId;
    } rows[] = {{"Tova", "pass", "3"}, {"t@x.EXAMPLE", "pass", "3"}, {"Tova", "Pass", ""}, {"Tova", "", ""},
                {"", "p", ""},         {"Tov", "pass", ""},          {"Tova", "p", ""}};
    for (const auto& row : rows) {
        const User* user = accounts.FindByLogin(row.name, row.password);
        EXPECT_EQ(user ? user->userId : "", row.userId) << row.name << ' ' << row.password;
    }
    EXPECT_TRUE(accounts.IsKnownProduct("S"));
    EXPECT_FALSE(accounts.IsKnownProduct("s"));
    EXPECT_FALSE(Accounts{}.IsKnownProduct(""));
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
}  // namespace qsn::service
