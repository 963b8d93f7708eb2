#pragma once

#include <windows.h>

#include <qsn/client.hpp>

#include <chrono>
#include <future>
#include <memory>
#include <string>
#include <vector>

#include "Options.h"
#include "UiQueue.h"
#include "common/BrowserLogin.h"

namespace sample {

enum class Phase {
    kStarting,  // the library is not open yet
    kSignedOut,
    kWaitingForBrowser,  // for the user to sign in there
    kSigningIn,
    kDiscarding,  // signed out, while answers to a refresh are still to come
    kSignedIn,    // in this phase and those below the user is signed in
    kRefreshing,
    kRefreshFailing,   // one of its requests has failed
    kRefreshOutdated,  // perhaps for another user, so another refresh follows
    kSigningOut,
};

// What the window shows, apart from the products and the news.
struct AccountState {
    Phase phase = Phase::kStarting;
    bool IsSignedIn() const { return phase >= Phase::kSignedIn; }
    std::wstring name;
    std::wstring email;
    std::wstring quota;
    std::wstring status;
    std::vector<qsn::MenuItem> menu;
};

class AccountView {
public:
    virtual void ShowState(const AccountState& state) = 0;
    virtual void ShowProducts(const std::vector<qsn::Product>& products) = 0;
    virtual void AddNews(const std::wstring& text) = 0;

protected:
    ~AccountView() = default;
};

// The session behind the window. Lives on the window's thread, where every outcome arrives through the queue. Only
// `Leave` waits for the library or the service.
class Account {
public:
    Account(Options options, std::shared_ptr<UiQueue> queue, AccountView& view);
    Account(const Account&) = delete;
    Account& operator=(const Account&) = delete;

    void Start();
    // Cancels instead while it waits for the browser.
    void SignInWithBrowser();
    void SignOut();
    void Refresh();
    // Opens an address of the service, or shows it if no browser is wanted.
    void Open(const std::string& address);

    // Ends the session, once the window and its queue are closed. A running request has `bound` to be finished first.
    void Leave(std::chrono::milliseconds bound);

private:
    void Opened(qsn::Result<qsn::Client> client);
    qsn::Notifications NotificationsToView();
    void SignIn(const std::string& token, bool orWithBrowser = false);
    void CancelSignIn();
    void SignedIn(const qsn::Result<qsn::SignInState>& result);
    void SignedOut(const std::wstring& status);
    void BrowserAnswered(unsigned login, BrowserLogin::Outcome outcome, const std::string& token);
    // The completion of one of a refresh's requests.
    template <class T, class Take>
    qsn::Completion<T> Part(Take take);
    void Refreshed();
    void Failed(const std::error_code& error);
    void Enter(Phase phase, const std::wstring& status);
    void Status(const std::wstring& text);

    const Options m_options;
    const std::shared_ptr<UiQueue> m_queue;
    AccountView& m_view;
    AccountState m_state;
    qsn::Client m_client;
    std::future<void> m_opened;
    std::string m_loginAddress;
    std::unique_ptr<BrowserLogin> m_login;
    unsigned m_logins = 0;
    int m_parts = 0;  // of a refresh, to come
};

}  // namespace sample
