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

// What the window shows, apart from the products and the news.
struct AccountState {
    bool ready = false;  // the library is there
    bool signedIn = false;
    bool busy = false;               // a request is under way
    bool waitingForBrowser = false;  // for the user to sign in there
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

// The session behind the window. Lives on the window's thread, where every outcome arrives through the queue; nothing
// here waits for the library or the service but `Leave`.
class Account {
public:
    Account(Options options, std::shared_ptr<UiQueue> queue, AccountView& view);
    Account(const Account&) = delete;
    Account& operator=(const Account&) = delete;

    void Start();
    void SignInWithBrowser();
    void CancelSignIn();
    void SignOut();
    void Refresh();
    // Opens an address of the service, or shows it where no browser is wanted.
    void Open(const std::string& address);

    // Ends the session, when the window and its queue are closed already. A request that is under way would be finished
    // first; after `bound` that is left to the end of the process.
    void Leave(std::chrono::milliseconds bound);

private:
    void Opened(qsn::Result<qsn::Client> client);
    qsn::Notifications NotificationsToView();
    void SignIn(const std::string& token);
    void AskForLoginPage();
    void SignedIn(const qsn::Result<qsn::SignInState>& result);
    void SignedOut(const std::wstring& status);
    void BrowserAnswered(unsigned login, BrowserLogin::Outcome outcome, const std::string& token);
    // Of one of a refresh's requests; the last one has the last word.
    template <class T, class Take>
    qsn::Completion<T> Part(Take take);
    void Failed(const std::error_code& error);
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
    bool m_partFailed = false;
    bool m_refreshAgain = false;
};

}  // namespace sample
