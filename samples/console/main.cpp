// A console program that walks through one session with the account service: what a host application does, in order,
// with every answer checked.
//
//   qsn-host [--sid PRODUCT_SID] [--token ACCESS_TOKEN]
//
// Or, two at a time, through single sign-on:
//
//   qsn-host --follow          waits for another program to sign in and out
//   qsn-host --lead            signs in, and out at the next line of input
//
// Or, with a member token that is about to end, through what the library does for tokens:
//
//   qsn-host --care-for MEMBER_TOKEN

#include <qsn/qsn.h>

#include <cstdio>
#include <cstdlib>
#include <exception>
#include <memory>
#include <string>
#include <vector>

#include "HostCallback.h"
#include "QsnLibrary.h"
#include "SingleSignOn.h"
#include "TokenCare.h"
#include "Transcript.h"

namespace {

using sample::Hex;
using sample::HostCallback;
using sample::Outcome;
using sample::Transcript;

struct Options {
    std::wstring sid = L"QSN-DEMO";
    std::string token = "demo-token-ada";
    std::string memberToken;
    void (*act)(const Options&) = nullptr;  // null: the walk through one session
};

struct Releaser {
    void operator()(IUnknown* object) const { object->Release(); }
};
using LibraryObject = std::unique_ptr<IPVSubscription2, Releaser>;

Outcome Await(Transcript& transcript, HostCallback& callback, int action) {
    std::optional<Outcome> outcome = callback.WaitFor(action);
    transcript.Expect(outcome.has_value(), "no callback came for action " + std::to_string(action));
    transcript.Detail("callback", "action " + std::to_string(action) + ", result " + std::to_string(outcome->result));
    return *outcome;
}

void SignInWithoutToken(Transcript& transcript, IPVSubscription2& qsn, HostCallback& callback) {
    transcript.Step("Sign in without a token: the library says where to get one");
    const HRESULT hr = qsn.SignIn(nullptr);
    transcript.Detail("SignIn", Hex(hr));
    transcript.Expect(hr == QSN_RETURN_E_NO_TOKEN, "SignIn(null) must answer that there is no token");
    const Outcome outcome = Await(transcript, callback, QSN_ACTION_SIGNIN_RESULT);
    transcript.Expect(outcome.result == QSN_CALLBACK_NOT_SIGNED_IN, "result 3 was expected");
    transcript.Detail("login page", outcome.text);

    char address[512];
    uint32_t length = 0;
    transcript.Expect(SUCCEEDED(qsn.GetSignInURL(address, sizeof(address), &length)), "GetSignInURL failed");
    transcript.Expect(outcome.text == address, "GetSignInURL and the callback must agree");
}

void SignInWithToken(Transcript& transcript, IPVSubscription2& qsn, HostCallback& callback, const std::string& token) {
    transcript.Step("Sign in with the token that the login page handed out");
    transcript.Expect(SUCCEEDED(qsn.SignIn(token.c_str())), "SignIn failed");
    const Outcome outcome = Await(transcript, callback, QSN_ACTION_SIGNIN_RESULT);
    transcript.Expect(outcome.result == QSN_CALLBACK_OK, "the session must hold a token now");

    transcript.Step("Read the session's access token back");
    char held[64];
    uint32_t length = 0;
    transcript.Expect(SUCCEEDED(qsn.GetAccessToken(held, sizeof(held), &length)), "GetAccessToken failed");
    transcript.Detail("access token", held);
    transcript.Expect(held == token, "the library holds another token");
}

void ShowUser(Transcript& transcript, IPVSubscription2& qsn, HostCallback& callback) {
    transcript.Step("Fetch the user's profile and menu over TLS, the reply's digest verified");
    transcript.Expect(SUCCEEDED(qsn.GetUserInfo()), "GetUserInfo failed");
    const Outcome outcome = Await(transcript, callback, QSN_ACTION_GET_USERINFO_RESULT);
    transcript.Expect(outcome.result == QSN_CALLBACK_OK, "the service did not answer the request");
    for (const auto& [label, value] : outcome.user) transcript.Detail(label, value);
    for (const auto& [item, url] : outcome.menu) transcript.Detail("menu", item + "  <" + url + ">");
    transcript.Expect(outcome.menu.size() >= 3, "the user menu must have at least three items");
}

std::string Megabytes(const std::string& bytes) {
    return bytes.empty() ? "" : std::to_string(std::strtoull(bytes.c_str(), nullptr, 10) >> 20) + " MB";
}

void ShowProducts(Transcript& transcript, IPVSubscription2& qsn, HostCallback& callback) {
    transcript.Step("Fetch the user's product list");
    transcript.Expect(SUCCEEDED(qsn.GetProductList()), "GetProductList failed");
    const Outcome outcome = Await(transcript, callback, QSN_ACTION_GET_PRODUCTLIST_RESULT);
    transcript.Expect(outcome.result == QSN_CALLBACK_OK, "the service did not answer the request");
    transcript.Row({"product", "version", "edition", "size", "published"});
    for (std::vector<std::string> product : outcome.products) {
        product[3] = Megabytes(product[3]);
        transcript.Row(product);
    }
    transcript.Expect(!outcome.products.empty(), "the account has products");
}

unsigned RemainingDownloads(Transcript& transcript, IPVSubscription2& qsn, HostCallback& callback) {
    transcript.Expect(SUCCEEDED(qsn.Config(QSNCFG_GI_QUERY, nullptr, nullptr)), "the quota query failed");
    const Outcome outcome = Await(transcript, callback, QSN_ACTION_GI_QUERY_RESULT);
    transcript.Expect(outcome.result == QSN_CALLBACK_OK, "the service did not answer the request");
    transcript.Row({"downloads left", std::to_string(outcome.quotaRemaining), "until", outcome.quotaReset});
    return outcome.quotaRemaining;
}

void UseQuota(Transcript& transcript, IPVSubscription2& qsn, HostCallback& callback) {
    transcript.Step("Ask for the download quota, log one download, ask again");
    const unsigned before = RemainingDownloads(transcript, qsn, callback);
    transcript.Expect(SUCCEEDED(qsn.Config(QSNCFG_GI_LOG, nullptr, nullptr)), "the quota log failed");
    const Outcome logged = Await(transcript, callback, QSN_ACTION_GI_LOG_RESULT);
    transcript.Expect(logged.result == QSN_CALLBACK_OK, "the service did not take the download");
    const unsigned after = RemainingDownloads(transcript, qsn, callback);
    transcript.Expect(after + 1 == before, "one download less was expected");
}

void Run(const Options& options) {
    Transcript transcript;
    transcript.Step("Load qsn.dll and create the library object");
    const sample::QsnLibrary library;
    HostCallback callback;
    const LibraryObject qsn(library.Create());
    transcript.Expect(qsn != nullptr, "CreateQSN failed");

    transcript.Step("Initialise it with the product SID and the callback");
    transcript.Expect(SUCCEEDED(qsn->Init(options.sid.c_str(), &callback)), "Init failed");

    SignInWithoutToken(transcript, *qsn, callback);
    SignInWithToken(transcript, *qsn, callback, options.token);
    ShowUser(transcript, *qsn, callback);
    ShowProducts(transcript, *qsn, callback);
    UseQuota(transcript, *qsn, callback);

    transcript.Step("End the session");
    transcript.Expect(SUCCEEDED(qsn->Uninit()), "Uninit failed");
    std::printf("\nEvery step gave what it should.\n");
}

Options ReadArguments(int count, char** arguments) {
    Options options;
    for (int i = 1; i < count; ++i) {
        const std::string name = arguments[i];
        if (name == "--follow") options.act = [](const Options& o) { sample::FollowOthers(o.sid); };
        if (name == "--lead") options.act = [](const Options& o) { sample::LeadOthers(o.sid, o.token); };
        if (i + 1 == count) break;
        const std::string value = arguments[i + 1];
        if (name == "--sid") options.sid.assign(value.begin(), value.end());
        if (name == "--token") options.token = value;
        if (name == "--care-for") {
            options.memberToken = value;
            options.act = [](const Options& o) { sample::ShowTokenCare(o.sid, o.memberToken); };
        }
    }
    return options;
}

}  // namespace

int main(int argumentCount, char** arguments) {
    SetConsoleOutputCP(CP_UTF8);
    std::setvbuf(stdout, nullptr, _IONBF, 0);
    try {
        const Options options = ReadArguments(argumentCount, arguments);
        (options.act ? options.act : Run)(options);
        return 0;
    } catch (const std::exception& failure) {
        std::printf("\nFAILED: %s\n", failure.what());
        return 1;
    }
}
