// A console program that walks through one session with the account service: what a host application does, in order,
// with every answer checked.
//
//   qsn-host [--sid PRODUCT_SID] [--token ACCESS_TOKEN]

#include <qsn/qsn.h>

#include <cstdio>
#include <exception>
#include <memory>
#include <string>

#include "HostCallback.h"
#include "QsnLibrary.h"
#include "Transcript.h"

namespace {

using sample::Hex;
using sample::HostCallback;
using sample::Outcome;
using sample::Transcript;

struct Options {
    std::wstring sid = L"QSN-DEMO";
    std::string token = "demo-token-ada";
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

    transcript.Step("End the session");
    transcript.Expect(SUCCEEDED(qsn->Uninit()), "Uninit failed");
    std::printf("\nEvery step gave what it should.\n");
}

Options ReadArguments(int count, char** arguments) {
    Options options;
    for (int i = 1; i + 1 < count; i += 2) {
        const std::string name = arguments[i];
        const std::string value = arguments[i + 1];
        if (name == "--sid") options.sid.assign(value.begin(), value.end());
        if (name == "--token") options.token = value;
    }
    return options;
}

}  // namespace

int main(int argumentCount, char** arguments) {
    SetConsoleOutputCP(CP_UTF8);
    std::setvbuf(stdout, nullptr, _IONBF, 0);
    try {
        Run(ReadArguments(argumentCount, arguments));
        return 0;
    } catch (const std::exception& failure) {
        std::printf("\nFAILED: %s\n", failure.what());
        return 1;
    }
}
