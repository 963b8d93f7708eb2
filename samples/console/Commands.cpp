#include "Commands.h"

#include <qsn/client.hpp>
#include <qsn/client/interactive.hpp>

#include <chrono>
#include <cstdio>
#include <iostream>
#include <system_error>
#include <thread>

#include "Table.h"

namespace sample {
namespace {

using namespace std::chrono_literals;

void Print(const std::string& line) { std::printf("%s\n", line.c_str()); }

// With a token of its own, the program shares nothing. Otherwise it shares the sign-in of the suite's applications. The
// library keeps that in the user's registry, so one command finds what another has left.
qsn::Options OptionsFor(const Settings& settings, bool shared) {
    qsn::Options options;
    options.productSid = settings.sid;
    options.singleSignOn = shared;
    options.notifications.serviceMessage = [](const std::string& text) { Print("The service says: " + text); };
    return options;
}

qsn::Client OpenSignedIn(const Settings& settings) {
    const bool shared = settings.token.empty();
    qsn::Client client = qsn::Client::Open(OptionsFor(settings, shared)).Get().Value();
    const qsn::SignInState state = (shared ? client.AdoptSharedSignIn() : client.SignIn(settings.token)).Get().Value();
    if (!state.signedIn) throw NotSignedIn("Nobody is signed in; use `sign-in` first.");
    return client;
}

// The user signs in on a page in the browser.
void SignInOnPage(qsn::Client& client, bool noBrowser) {
    qsn::InteractiveOptions options;
    options.open = [noBrowser](const std::string& address) {
        const bool opened = !noBrowser && qsn::OpenInBrowser(address);
        Print(opened ? "Sign in on the page that has opened in the browser." : "Open this address in a browser:");
        if (!opened) Print(address);
        return qsn::Result<void>();
    };
    const qsn::Result<qsn::SignInState> state = qsn::SignInInteractive(client, options).Get();
    if (state.Error() == qsn::Condition::kCancelled) throw Failure("The sign-in was cancelled on the page.");
    if (state.Error() == qsn::Condition::kTimedOut) throw Failure("The sign-in took too long; start again.");
    state.Value();
}

}  // namespace

void SignIn(const Settings& settings) {
    qsn::Client client = qsn::Client::Open(OptionsFor(settings, true)).Get().Value();
    settings.token.empty() ? SignInOnPage(client, settings.noBrowser)
                           : void(client.SignIn(settings.token).Get().Value());
    // The library takes any token. The first request shows whether the service does.
    const qsn::UserInfo user = client.GetUserInfo().Get().Value();
    Print("Signed in as " + user.name + " <" + user.email + ">.");
}

void SignOut(const Settings& settings) {
    OpenSignedIn(settings).SignOut().Get().Value();
    Print("Signed out.");
}

void ShowUser(const Settings& settings) {
    const qsn::UserInfo user = OpenSignedIn(settings).GetUserInfo().Get().Value();
    PrintRow({"user id", user.id});
    PrintRow({"name", user.name});
    PrintRow({"e-mail", user.email});
    for (const qsn::MenuItem& each : user.menu) PrintRow({"menu", each.item + "  <" + each.url + ">"});
}

void ShowProducts(const Settings& settings) {
    qsn::Client client = OpenSignedIn(settings);
    PrintProducts((settings.packs ? client.GetProductListV2() : client.GetProductList()).Get().Value());
}

void ShowQuota(const Settings& settings) {
    qsn::Client client = OpenSignedIn(settings);
    if (settings.log) client.LogDownload().Get().Value();
    const qsn::Quota quota = client.QueryQuota().Get().Value();
    Print(std::to_string(quota.remaining) + " downloads left until " + quota.resetDateText);
}

void Watch(const Settings& settings) {
    // The library compares the shared tokens once a second. The first time, it only notes what is there.
    constexpr auto kFirstLook = 1500ms;
    qsn::Client client;
    const auto report = [&client](const qsn::Result<qsn::SignInState>& state) {
        if (!state || !state->signedIn) return Print("nobody is signed in");
        // A handler must not wait, so the answer comes as a completion.
        client.GetUserInfo([](const qsn::Result<qsn::UserInfo>& user) {
            Print(user ? "signed in as " + user->name : "signed in, but: " + user.Error().message());
        });
    };
    qsn::Options options = OptionsFor(settings, true);
    options.tokenCheck = true;
    options.notifications.signedInElsewhere = report;
    options.notifications.signedOutElsewhere = [](const qsn::Result<void>&) { Print("signed out"); };
    options.notifications.memberTokenSet = [](const std::string&) { Print("another member token"); };
    options.notifications.memberTokenCleared = [] { Print("no member token any more"); };
    options.notifications.tokenChecked = [](const qsn::Result<void>& check) {
        if (!check) Print("the access token was checked: " + check.Error().message());
    };
    client = qsn::Client::Open(options).Get().Value();
    std::this_thread::sleep_for(kFirstLook);
    client.AdoptSharedSignIn(report);
    Print("watching; Enter ends");
    std::string line;
    std::getline(std::cin, line);
}

}  // namespace sample
