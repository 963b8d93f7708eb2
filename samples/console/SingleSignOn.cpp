#include "SingleSignOn.h"

#include <qsn/qsn.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <iostream>
#include <memory>
#include <stdexcept>
#include <thread>

#include "HostCallback.h"
#include "QsnLibrary.h"
#include "Transcript.h"

namespace sample {
namespace {

// The library compares the shared values once a second. Its first look only takes note of what is there: what happens
// before it is not reported.
constexpr std::chrono::milliseconds kFirstLook{1500};

struct ActionText {
    int action;
    const char* text;
};

constexpr std::array kActionTexts{
    ActionText{QSN_ACTION_SIGNIN_RESULT, "sign-in"},
    ActionText{QSN_ACTION_SIGNOUT_RESULT, "sign-out"},
    ActionText{QSN_ACTION_GET_USERINFO_RESULT, "user information"},
    ActionText{QSN_ACTION_NOTIFY, "notification"},
    ActionText{QSN_ACTION_SSO_SIGNIN_RESULT, "sign-in, because another program signed in"},
    ActionText{QSN_ACTION_SSO_SIGNOUT_RESULT, "sign-out, because another program signed out"},
};

void Require(bool given, const char* what) {
    if (!given) throw std::runtime_error(what);
}

// A library object with single sign-on switched on.
class SharingHost {
public:
    explicit SharingHost(const std::wstring& sid) : m_qsn(m_library.Create()) {
        Require(m_qsn != nullptr, "CreateQSN failed");
        Require(SUCCEEDED(m_qsn->Init(sid.c_str(), &m_callback)), "Init failed");
        uint32_t on = 1;
        Require(SUCCEEDED(m_qsn->Config(QSNCFG_ENABLE_SINGLE_SIGNON, &on, nullptr)), "single sign-on is not available");
    }

    IPVSubscription2& Qsn() { return *m_qsn; }

    // The next callback, whatever it is about.
    Outcome Next() {
        const std::optional<Outcome> outcome = m_callback.WaitForAny();
        Require(outcome.has_value(), "no callback came");
        const auto known = std::find_if(kActionTexts.begin(), kActionTexts.end(),
                                        [&](const ActionText& each) { return each.action == outcome->action; });
        std::printf("action %4d, result %d: %s\n", outcome->action, outcome->result,
                    known == kActionTexts.end() ? "" : known->text);
        for (const auto& [label, value] : outcome->user) std::printf("    %s: %s\n", label.c_str(), value.c_str());
        return *outcome;
    }
    void Expect(int action) {
        const Outcome outcome = Next();
        Require(outcome.action == action && outcome.result == QSN_CALLBACK_OK, "something else was expected");
    }

private:
    struct Releaser {
        void operator()(IUnknown* object) const { object->Release(); }
    };

    QsnLibrary m_library;
    HostCallback m_callback;
    std::unique_ptr<IPVSubscription2, Releaser> m_qsn;
};

}  // namespace

void FollowOthers(const std::wstring& sid) {
    SharingHost host(sid);
    host.Qsn().SignIn(nullptr);
    const Outcome atStart = host.Next();
    Require(atStart.result == QSN_CALLBACK_NOT_SIGNED_IN, "somebody is signed in already");
    std::this_thread::sleep_for(kFirstLook);
    std::printf("watching\n");

    host.Expect(QSN_ACTION_SSO_SIGNIN_RESULT);
    char token[64];
    uint32_t length = 0;
    Require(SUCCEEDED(host.Qsn().GetAccessToken(token, sizeof(token), &length)), "no token is held");
    std::printf("followed with token %s\n", token);
    host.Qsn().GetUserInfo();
    host.Expect(QSN_ACTION_GET_USERINFO_RESULT);
    std::printf("signed in\n");

    host.Expect(QSN_ACTION_SSO_SIGNOUT_RESULT);
    Require(host.Qsn().GetAccessToken(token, sizeof(token), &length) == QSN_RETURN_E_NO_TOKEN, "a token is held still");
    std::printf("signed out\n");
}

void LeadOthers(const std::wstring& sid, const std::string& token) {
    SharingHost host(sid);
    Require(SUCCEEDED(host.Qsn().SignIn(token.c_str())), "SignIn failed");
    host.Expect(QSN_ACTION_SIGNIN_RESULT);
    std::printf("signed in; the next line of input signs out\n");
    std::string line;
    std::getline(std::cin, line);
    Require(SUCCEEDED(host.Qsn().SignOut()), "SignOut failed");
    host.Expect(QSN_ACTION_SIGNOUT_RESULT);
    std::printf("signed out\n");
}

}  // namespace sample
