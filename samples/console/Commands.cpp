#include "Commands.h"

#include <qsn/client.hpp>

#include <chrono>
#include <cstdio>
#include <future>
#include <iostream>
#include <thread>
#include <utility>

#include "Table.h"
#include "common/BrowserLogin.h"

namespace sample {
namespace {

using namespace std::chrono_literals;

void Print(const std::string& line) { std::printf("%s\n", line.c_str()); }

qsn::Options OptionsFor(const Settings& settings) {
    qsn::Options options;
    options.productSid = settings.sid;
    options.notifications.serviceMessage = [](const std::string& text) { Print("The service says: " + text); };
    return options;
}

// With a token of its own, the program shares nothing. Otherwise it shares the sign-in of the suite's applications. The
// library keeps that in the user's registry, so one command finds what another has left.
qsn::Client Open(const Settings& settings) {
    qsn::Client client = qsn::Client::Open(OptionsFor(settings)).Value();
    if (settings.token.empty()) client.EnableSingleSignOn(true).Value();
    return client;
}

qsn::Client OpenSignedIn(const Settings& settings) {
    qsn::Client client = Open(settings);
    if (!client.SignIn(settings.token).get()->signedIn) throw NotSignedIn("Nobody is signed in; use `login` first.");
    return client;
}

// Lets the user sign in on the login page, and waits for the token that the page passes on.
std::string TokenFromBrowser(qsn::Client& client, bool noBrowser, std::unique_ptr<BrowserLogin>& login) {
    using Answer = std::pair<BrowserLogin::Outcome, std::string>;
    const auto answer = std::make_shared<std::promise<Answer>>();
    login = std::make_unique<BrowserLogin>([answer](BrowserLogin::Outcome outcome, const std::string& token) {
        answer->set_value({outcome, token});
    });
    const std::string address = login->AddressToOpen(client.SignInUrl().Value());
    const bool opened = !noBrowser && BrowserLogin::OpenInBrowser(address);
    Print(opened ? "Sign in on the page that has opened in the browser." : "Open this address in a browser:");
    if (!opened) Print(address);
    const auto [outcome, token] = answer->get_future().get();
    switch (outcome) {
        case BrowserLogin::Outcome::kToken: return token;
        case BrowserLogin::Outcome::kCancelled: throw Failure("The sign-in was cancelled on the login page.");
        case BrowserLogin::Outcome::kExpired: throw Failure("The sign-in took too long; start again.");
        default: throw Failure("The login page's answer cannot be used; start again.");
    }
}

}  // namespace

void LogIn(const Settings& settings) {
    qsn::Client client = qsn::Client::Open(OptionsFor(settings)).Value();
    client.EnableSingleSignOn(true).Value();
    std::unique_ptr<BrowserLogin> login;
    const std::string token =
        settings.token.empty() ? TokenFromBrowser(client, settings.noBrowser, login) : settings.token;
    client.SignIn(token).get().Value();
    // The library takes any token. The first request shows whether the service does.
    const qsn::UserInfo user = client.GetUserInfo().get().Value();
    Print("Signed in as " + user.name + " <" + user.email + ">.");
    // The browser has yet to fetch the last page.
    if (login) std::this_thread::sleep_for(1s);
}

void LogOut(const Settings& settings) {
    OpenSignedIn(settings).SignOut().get().Value();
    Print("Signed out.");
}

void ShowUser(const Settings& settings) {
    const qsn::UserInfo user = OpenSignedIn(settings).GetUserInfo().get().Value();
    PrintRow({"user id", user.id});
    PrintRow({"name", user.name});
    PrintRow({"e-mail", user.email});
    for (const qsn::MenuItem& each : user.menu) PrintRow({"menu", each.item + "  <" + each.url + ">"});
}

void ShowProducts(const Settings& settings) {
    qsn::Client client = OpenSignedIn(settings);
    PrintProducts((settings.packs ? client.GetProductListV2() : client.GetProductList()).get().Value());
}

void ShowQuota(const Settings& settings) {
    qsn::Client client = OpenSignedIn(settings);
    if (settings.log) client.LogDownload().get().Value();
    const qsn::Quota quota = client.QueryQuota().get().Value();
    Print(std::to_string(quota.remaining) + " downloads left until " + quota.resetDate);
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
    qsn::Options options = OptionsFor(settings);
    options.notifications.signedInElsewhere = report;
    options.notifications.signedOutElsewhere = [](const qsn::Result<void>&) { Print("signed out"); };
    options.notifications.memberTokenSet = [](const std::string&) { Print("another member token"); };
    options.notifications.memberTokenCleared = [] { Print("no member token any more"); };
    options.notifications.tokenChecked = [](const qsn::Result<void>& check) {
        if (!check) Print("the access token was checked: " + check.Error().message());
    };
    client = qsn::Client::Open(options).Value();
    client.EnableSingleSignOn(true).Value();
    client.EnableTokenCheck(true).Value();
    std::this_thread::sleep_for(kFirstLook);
    client.SignIn({}, report);
    Print("watching; Enter ends");
    std::string line;
    std::getline(std::cin, line);
}

}  // namespace sample
