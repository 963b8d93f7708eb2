#pragma once

#include <qsn/client/interactive.hpp>

#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace sample {

// account-panel [--sid PRODUCT_SID] [--token ACCESS_TOKEN] [--no-browser]
struct Options {
    std::wstring sid = L"QSN-DEMO";
    std::string token;       // not empty: signs in with it at once
    bool noBrowser = false;  // addresses are shown in the status line instead of opened
};

using Products = std::vector<qsn::Product>;

// What the window shows.
struct AccountState {
    bool isBusy = true;  // with something that can be cancelled
    bool isSignedIn = false;
    qsn::UserInfo user;
    std::shared_ptr<const Products> products = std::make_shared<Products>();
    qsn::Quota quota;
    std::wstring status;
};

// The sentences that come with the codes are written for developers.
inline std::wstring ForTheUser(const std::error_code& error) {
    using qsn::Condition;
    if (error == Condition::kSignInRequired) return L"You are not signed in any more. Sign in again.";
    if (error == Condition::kCancelled) return L"It was cancelled.";
    if (error == Condition::kOffline) return L"You are offline. Check the network and try again.";
    if (error == Condition::kTimedOut) return L"It took too long. Try again.";
    if (error == Condition::kTransient) return L"The account service has trouble at the moment. Try again later.";
    if (error == Condition::kRefused) return L"The account service refused. " + qsn::ToWide(error.message());
    return L"The account service did not do what it should. " + qsn::ToWide(error.message());
}

// The session behind the window. Lives on the window's thread, where every outcome arrives through the executor. It
// does one thing at a time: what is begun takes the place of what is under way.
class Account {
public:
    using Show = std::function<void(const AccountState& state)>;
    using AddNews = std::function<void(const std::wstring& text)>;

    Account(Options options, Show show, AddNews addNews)
        : m_options(std::move(options)), m_show(std::move(show)), m_addNews(std::move(addNews)) {}
    Account(const Account&) = delete;
    Account& operator=(const Account&) = delete;

    void Start(qsn::Executor executor) {
        qsn::Options options;
        options.productSid = m_options.sid;
        options.singleSignOn = true;
        options.executor = std::move(executor);
        options.notifications.serviceMessage = [this](const std::string& text) { m_addNews(qsn::ToWide(text)); };
        options.notifications.signedInElsewhere = [this](const qsn::Result<qsn::SignInState>& state) {
            m_addNews(L"Signed in, because another application did.");
            state ? SignedIn(*state) : Failed(state.Error());
        };
        options.notifications.signedOutElsewhere = [this](const qsn::Result<void>&) {
            m_addNews(L"Signed out, because another application did.");
            SignedOut(L"Signed out.");
        };
        Begin(L"Starting\u2026");
        m_request = qsn::Client::Open(options, Then<qsn::Client>([this](qsn::Client client) {
                                          m_client = std::move(client);
                                          SignInAtStart();
                                      }));
    }
    void SignIn() {
        qsn::InteractiveOptions options;
        options.open = [this](const std::string& address) { return Open(address); };
        Begin(L"Sign in on the page that opens in your browser.");
        m_request = qsn::SignInInteractive(m_client, options, TakeSignIn());
    }
    void SignOut() {
        Begin(L"Signing out\u2026");
        m_request = m_client.SignOut([this, turn = m_turn](const qsn::Result<void>& result) {
            if (turn != m_turn) return;
            // Only the service can tell whether it was cancelled in time.
            if (result.Error() == qsn::Condition::kCancelled) return Refresh();
            SignedOut(result ? L"Signed out." : L"Signed out here. " + ForTheUser(result.Error()));
        });
    }
    void Refresh() {
        Begin(L"Asking the account service\u2026");
        m_request = m_client.GetUserInfo(Then<qsn::UserInfo>([this](const qsn::UserInfo& user) {
            m_state.user = user;
            m_request = m_client.GetProductList(Then<Products>([this](const Products& products) {
                m_state.products = std::make_shared<Products>(products);
                m_request = m_client.QueryQuota(Then<qsn::Quota>([this](const qsn::Quota& quota) {
                    m_state.quota = quota;
                    End(L"Up to date.");
                }));
            }));
        }));
    }
    void Cancel() { m_request.Cancel(); }
    // Opens an address of the service, or shows it if no browser is wanted.
    qsn::Result<void> Open(const std::string& address) {
        if (!m_options.noBrowser) return qsn::OpenInBrowser(address);
        m_state.status = qsn::ToWide(address);
        m_show(m_state);
        return {};
    }
    // A request that is under way has so long to end.
    void Leave(qsn::TimeLimit limit) { m_client.Close(limit); }

private:
    // Without a token this takes the one that other applications share.
    void SignInAtStart() {
        Begin(L"Signing in\u2026");
        m_request = m_options.token.empty() ? m_client.AdoptSharedSignIn(TakeSignIn())
                                            : m_client.SignIn(m_options.token, TakeSignIn());
    }
    qsn::Completion<qsn::SignInState> TakeSignIn() {
        return Then<qsn::SignInState>([this](const qsn::SignInState& state) { SignedIn(state); });
    }
    void SignedIn(const qsn::SignInState& state) {
        if (!state.signedIn) return SignedOut(L"Not signed in.");
        m_state.isSignedIn = true;
        Refresh();
    }
    void SignedOut(const std::wstring& status) {
        m_state = {};
        End(status);
    }
    void Failed(const std::error_code& error) {
        error == qsn::Condition::kSignInRequired ? SignedOut(ForTheUser(error)) : End(ForTheUser(error));
    }

    void Begin(const std::wstring& status) {
        ++m_turn;
        m_request.Cancel();
        m_state.isBusy = true;
        m_state.status = status;
        m_show(m_state);
    }
    // A completion that counts only as long as nothing else has begun or ended.
    template <class T, class Take>
    qsn::Completion<T> Then(Take take) {
        return [this, take, turn = m_turn](qsn::Result<T> result) {
            if (turn != m_turn) return;
            result ? take(std::move(result).Value()) : Failed(result.Error());
        };
    }
    void End(const std::wstring& status) {
        Begin(status);
        m_state.isBusy = false;
        m_show(m_state);
    }

    const Options m_options;
    const Show m_show;
    const AddNews m_addNews;
    AccountState m_state;
    unsigned m_turn = 0;
    qsn::Request m_request;
    qsn::Client m_client;
};

}  // namespace sample
