#include "Walk.h"

#include <qsn/client.hpp>

#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <mutex>

#include "Commands.h"
#include "Table.h"

namespace sample {
namespace {

constexpr char kRefreshToken[] = "demo-refresh-token-ada";
constexpr char kAccessToken[] = "demo-token-ada";
// The token of an account for which the service asks for a check every second.
constexpr char kShortLivedToken[] = "demo-token-cleo";

class Steps {
public:
    void Next(const std::string& title) { std::printf("\n%2d. %s\n", ++m_step, title.c_str()); }
    static void Expect(bool given, const std::string& what) {
        if (!given) throw Failure("Something else was expected: " + what + ".");
    }

private:
    int m_step = 0;
};

qsn::Options OptionsFor(const Settings& settings) {
    qsn::Options options;
    options.productSid = settings.sid;
    return options;
}

std::uint32_t RemainingDownloads(qsn::Client& client) {
    const qsn::Quota quota = client.QueryQuota().Get().Value();
    PrintRow({"downloads left", std::to_string(quota.remaining), "until", quota.resetDateText});
    return quota.remaining;
}

// The outcomes of the checks that the library makes by itself.
class TokenChecks {
public:
    void Add(bool accepted) {
        {
            const std::lock_guard<std::mutex> lock(m_lock);
            (accepted ? m_accepted : m_refused) = true;
        }
        m_changed.notify_all();
    }
    bool WaitForAccepted() { return WaitFor(m_accepted); }
    bool WaitForRefused() { return WaitFor(m_refused); }

private:
    bool WaitFor(const bool& outcome) {
        std::unique_lock<std::mutex> lock(m_lock);
        return m_changed.wait_for(lock, std::chrono::seconds(30), [&] { return outcome; });
    }

    std::mutex m_lock;
    std::condition_variable m_changed;
    bool m_accepted = false;
    bool m_refused = false;
};

// Tokens differ in their end, the signature.
std::string Abridged(const std::string& token) {
    return "..." + token.substr(token.size() > 40 ? token.size() - 40 : 0);
}

void Renew(Steps& steps, qsn::Client& client, const std::string& endingMemberToken) {
    steps.Next("Hold a member token that ends within a minute");
    client.SetMemberToken(endingMemberToken).Get().Value();
    client.SetRefreshToken(kRefreshToken).Get().Value();
    PrintRow({"member token", Abridged(endingMemberToken)});

    steps.Next("Ask for the second generation's product list: the token is renewed on the way");
    client.SignIn(kAccessToken).Get().Value();
    PrintProducts(client.GetProductListV2().Get().Value());
    const std::string renewed = client.MemberToken().Get().Value();
    PrintRow({"member token", Abridged(renewed)});
    Steps::Expect(!renewed.empty() && renewed != endingMemberToken, "a renewed member token");
}

void NoticeRevocation(Steps& steps, const Settings& settings, qsn::Client& client, TokenChecks& checks) {
    steps.Next("Let the library check an access token every second");
    client.EnableTokenCheck(true).Get().Value();
    client.SignIn(kShortLivedToken).Get().Value();
    PrintRow({"signed in", client.GetUserInfo().Get()->name});
    Steps::Expect(checks.WaitForAccepted(), "a check that accepts the token");

    steps.Next("Sign the same user out from another program: the next check notices");
    qsn::Client other = qsn::Client::Open(OptionsFor(settings)).Get().Value();
    other.SignIn(kShortLivedToken).Get().Value();
    other.SignOut().Get().Value();
    Steps::Expect(checks.WaitForRefused(), "a check that refuses the token");
    Steps::Expect(client.AccessToken().Get().Error() == qsn::Condition::kSignInRequired, "no token");
}

}  // namespace

void WalkThroughSession(const Settings& settings) {
    const std::string token = settings.token.empty() ? kAccessToken : settings.token;
    Steps steps;
    steps.Next("Load qsn.dll and open a client with the product SID");
    qsn::Client client = qsn::Client::Open(OptionsFor(settings)).Get().Value();

    steps.Next("Sign in without a token: the library says where to get one");
    const qsn::SignInState nobody = client.AdoptSharedSignIn().Get().Value();
    PrintRow({"sign-in page", nobody.signInAddress});
    Steps::Expect(!nobody.signedIn && nobody.signInAddress == client.SignInUrl().Get().Value(),
                  "the sign-in page's address");

    steps.Next("Sign in with the token that the sign-in page gave, and read it back");
    Steps::Expect(client.SignIn(token).Get()->signedIn, "a sign-in");
    PrintRow({"access token", client.AccessToken().Get().Value()});
    Steps::Expect(*client.AccessToken().Get() == token, "the same token");

    steps.Next("Fetch the user's profile and menu over TLS, the reply's digest verified");
    const qsn::UserInfo user = client.GetUserInfo().Get().Value();
    PrintRow({"name", user.name + " <" + user.email + ">"});
    for (const qsn::MenuItem& each : user.menu) PrintRow({"menu", each.item + "  <" + each.url + ">"});
    Steps::Expect(user.menu.size() >= 3, "a menu of three items");

    steps.Next("Fetch the user's product list");
    const auto products = client.GetProductList().Get().Value();
    PrintProducts(products);
    Steps::Expect(!products.empty(), "a product");

    steps.Next("Ask for the download quota, log one download, ask again");
    const std::uint32_t before = RemainingDownloads(client);
    client.LogDownload().Get().Value();
    Steps::Expect(RemainingDownloads(client) + 1 == before, "one download less");

    steps.Next("End the session");
    client.Close();
    std::printf("\nEvery step gave what it should.\n");
}

void WalkThroughTokenCare(const Settings& settings) {
    Steps steps;
    TokenChecks checks;
    qsn::Options options = OptionsFor(settings);
    options.notifications.tokenChecked = [&checks](const qsn::Result<void>& check) { checks.Add(!check.Error()); };
    qsn::Client client = qsn::Client::Open(options).Get().Value();
    Renew(steps, client, settings.memberToken);
    NoticeRevocation(steps, settings, client, checks);
    std::printf("\nEvery step gave what it should.\n");
}

}  // namespace sample
