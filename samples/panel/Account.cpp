#include "Account.h"

#include <system_error>
#include <thread>
#include <utility>

#include "Format.h"

namespace sample {
namespace {

std::wstring Sentence(const std::error_code& error) {
    const qsn::CodeText* known = qsn::FindCodeText(error);
    return qsn::ToWide(known ? known->sentence : error.message());
}

// The session no longer holds a token.
bool EndsSession(const std::error_code& error) {
    for (const auto code : {QSN_CALLBACK_SERVER_RESULT_1, QSN_CALLBACK_NOT_SIGNED_IN, QSN_CALLBACK_SERVER_RESULT_101,
                            QSN_CALLBACK_SERVER_RESULT_107}) {
        if (error == qsn::ErrorOf(code)) return true;
    }
    return false;
}

// The sentences that come with the codes are written for developers.
std::wstring ForTheUser(const std::error_code& error) {
    if (EndsSession(error)) return L"You are not signed in any more. Sign in again.";
    if (error == qsn::ErrorOf(QSN_CALLBACK_NETWORK_OR_UNKNOWN)) {
        return L"The account service cannot be reached. Check the network and try again.";
    }
    return L"The account service did not do what it should. " + Sentence(error);
}

std::wstring QuotaText(const qsn::Quota& quota) {
    const std::wstring left = std::to_wstring(quota.remaining);
    return left + (quota.remaining == 1 ? L" download left" : L" downloads left") +
           (quota.resetDate.empty() ? L"" : L" until " + FormatDate(quota.resetDate));
}

}  // namespace

Account::Account(Options options, std::shared_ptr<UiQueue> queue, AccountView& view)
    : m_options(std::move(options)), m_queue(std::move(queue)), m_view(view) {}

// Opening the library takes a while, because it reads the machine's identity.
void Account::Start() {
    Status(L"Starting\u2026");
    qsn::Options options;
    options.productSid = m_options.sid;
    options.notifications = NotificationsToView();
    options.executor = [queue = m_queue](std::function<void()> work) { queue->Post(std::move(work)); };
    std::packaged_task<void()> open([this, options, queue = m_queue] {
        const auto client = std::make_shared<qsn::Result<qsn::Client>>(qsn::Client::Open(options));
        // Here, because it waits for the library. A user can sign in even if sharing the sign-in fails.
        if (*client) (*client)->EnableSingleSignOn(true);
        queue->Post([this, client] { Opened(std::move(*client)); });
    });
    m_opened = open.get_future();
    std::thread(std::move(open)).detach();
}

void Account::Opened(qsn::Result<qsn::Client> client) {
    if (!client) return Status(L"The account library cannot be used. " + Sentence(client.Error()));
    m_client = std::move(client).Value();
    SignIn(m_options.token);
}

qsn::Notifications Account::NotificationsToView() {
    qsn::Notifications notifications;
    notifications.serviceMessage = [this](const std::string& message) { m_view.AddNews(qsn::ToWide(message)); };
    notifications.signedInElsewhere = [this](const qsn::Result<qsn::SignInState>& result) {
        m_view.AddNews(L"Signed in, because another application did.");
        if (m_state.phase == Phase::kWaitingForBrowser) CancelSignIn();
        SignedIn(result);
    };
    notifications.signedOutElsewhere = [this](const qsn::Result<void>&) {
        m_view.AddNews(L"Signed out, because another application did.");
        SignedOut(L"Signed out.");
    };
    return notifications;
}

// Without a token this takes the one that other applications share, or else learns where the user can get one.
void Account::SignIn(const std::string& token, bool orWithBrowser) {
    Enter(Phase::kSigningIn, L"Signing in\u2026");
    m_client.SignIn(token, [this, orWithBrowser](const qsn::Result<qsn::SignInState>& result) {
        SignedIn(result);
        if (orWithBrowser && m_state.phase == Phase::kSignedOut && !m_loginAddress.empty()) SignInWithBrowser();
    });
}

void Account::SignedIn(const qsn::Result<qsn::SignInState>& result) {
    if (!result && m_state.phase == Phase::kSigningIn) return SignedOut(ForTheUser(result.Error()));
    if (!result) return Failed(result.Error());
    if (result->signedIn) return Refresh();
    m_loginAddress = result->loginAddress;
    SignedOut(L"Not signed in.");
}

void Account::SignInWithBrowser() {
    if (m_state.phase == Phase::kWaitingForBrowser) return CancelSignIn();
    if (m_loginAddress.empty()) return SignIn({}, true);
    const unsigned login = ++m_logins;
    try {
        m_login = std::make_unique<BrowserLogin>(
            [this, login, queue = m_queue](BrowserLogin::Outcome outcome, const std::string& token) {
                queue->Post([this, login, outcome, token] { BrowserAnswered(login, outcome, token); });
            });
    } catch (const std::system_error& failure) {
        return Status(L"The browser's answer cannot be waited for. " + Sentence(failure.code()));
    }
    Enter(Phase::kWaitingForBrowser, L"Sign in on the page that has opened in your browser.");
    Open(m_login->AddressToOpen(m_loginAddress));
}

void Account::CancelSignIn() {
    ++m_logins;  // an answer that is already in the queue comes too late
    m_login.reset();
    Enter(Phase::kSignedOut, L"The sign-in was cancelled.");
}

void Account::BrowserAnswered(unsigned login, BrowserLogin::Outcome outcome, const std::string& token) {
    if (login != m_logins) return;
    switch (outcome) {
        case BrowserLogin::Outcome::kToken: return SignIn(token);
        case BrowserLogin::Outcome::kCancelled: return Enter(Phase::kSignedOut, L"The sign-in was cancelled.");
        case BrowserLogin::Outcome::kExpired: return Enter(Phase::kSignedOut, L"Nobody signed in on the page in time.");
        case BrowserLogin::Outcome::kFailed: return Enter(Phase::kSignedOut, L"The sign-in failed. Try again.");
    }
}

void Account::SignOut() {
    Enter(Phase::kSigningOut, L"Signing out\u2026");
    m_client.SignOut([this](const qsn::Result<void>& result) {
        SignedOut(result ? L"Signed out." : L"Signed out here. " + ForTheUser(result.Error()));
    });
}

void Account::SignedOut(const std::wstring& status) {
    Phase next = m_parts == 0 ? Phase::kSignedOut : Phase::kDiscarding;
    // The next sign-in may have begun already.
    if (m_state.phase == Phase::kWaitingForBrowser) next = m_state.phase;
    m_state = AccountState();
    m_view.ShowProducts({});
    Enter(next, status);
}

void Account::Refresh() {
    if (m_parts != 0) return Enter(Phase::kRefreshOutdated, m_state.status);
    m_parts = 3;
    Enter(Phase::kRefreshing, L"Asking the account service\u2026");
    m_client.GetUserInfo(Part<qsn::UserInfo>([this](const qsn::UserInfo& user) {
        m_state.name = qsn::ToWide(user.name);
        m_state.email = qsn::ToWide(user.email);
        m_state.menu = user.menu;
    }));
    m_client.GetProductList(Part<std::vector<qsn::Product>>(
        [this](const std::vector<qsn::Product>& products) { m_view.ShowProducts(products); }));
    m_client.QueryQuota(Part<qsn::Quota>([this](const qsn::Quota& quota) { m_state.quota = QuotaText(quota); }));
}

template <class T, class Take>
qsn::Completion<T> Account::Part(Take take) {
    return [this, take](const qsn::Result<T>& result) {
        --m_parts;
        if (!result) {
            if (m_state.phase == Phase::kRefreshing) m_state.phase = Phase::kRefreshFailing;
            Failed(result.Error());
        } else if (m_state.IsSignedIn()) {
            take(*result);
        }
        m_parts == 0 ? Refreshed() : Status(m_state.status);
    };
}

void Account::Refreshed() {
    switch (m_state.phase) {
        case Phase::kRefreshing: return Enter(Phase::kSignedIn, L"Up to date.");
        case Phase::kRefreshFailing: return Enter(Phase::kSignedIn, m_state.status);
        case Phase::kRefreshOutdated: return Refresh();
        case Phase::kDiscarding: return Enter(Phase::kSignedOut, m_state.status);
        default: Status(m_state.status);
    }
}

void Account::Failed(const std::error_code& error) {
    EndsSession(error) ? SignedOut(ForTheUser(error)) : Status(ForTheUser(error));
}

void Account::Open(const std::string& address) {
    if (m_options.noBrowser) return Status(qsn::ToWide(address));
    if (!BrowserLogin::OpenInBrowser(address)) Status(L"No browser opened. The address is " + qsn::ToWide(address));
}

void Account::Enter(Phase phase, const std::wstring& status) {
    m_state.phase = phase;
    Status(status);
}

void Account::Status(const std::wstring& text) {
    m_state.status = text;
    m_view.ShowState(m_state);
}

void Account::Leave(std::chrono::milliseconds bound) {
    const auto end = std::chrono::steady_clock::now() + bound;
    m_login.reset();
    if (m_opened.valid() && m_opened.wait_until(end) != std::future_status::ready) return;
    std::packaged_task<void()> close([client = std::move(m_client)]() mutable { client.Close(); });
    const std::future<void> closed = close.get_future();
    std::thread(std::move(close)).detach();
    closed.wait_until(end);
}

}  // namespace sample
