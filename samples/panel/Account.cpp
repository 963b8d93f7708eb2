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

// The session holds no token any more.
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

// The library looks at the machine's identity when it is opened, which takes its time.
void Account::Start() {
    Status(L"Starting\u2026");
    qsn::Options options;
    options.productSid = m_options.sid;
    options.notifications = NotificationsToView();
    options.executor = [queue = m_queue](std::function<void()> work) { queue->Post(std::move(work)); };
    std::packaged_task<void()> open([this, options, queue = m_queue] {
        const auto client = std::make_shared<qsn::Result<qsn::Client>>(qsn::Client::Open(options));
        // Here, because it waits for the library. A user who cannot share the sign-in can still sign in.
        if (*client) (*client)->EnableSingleSignOn(true);
        queue->Post([this, client] { Opened(std::move(*client)); });
    });
    m_opened = open.get_future();
    std::thread(std::move(open)).detach();
}

void Account::Opened(qsn::Result<qsn::Client> client) {
    if (!client) return Status(L"The account library cannot be used. " + Sentence(client.Error()));
    m_client = std::move(client).Value();
    m_state.ready = true;
    SignIn(m_options.token);
}

qsn::Notifications Account::NotificationsToView() {
    qsn::Notifications notifications;
    notifications.serviceMessage = [this](const std::string& message) { m_view.AddNews(qsn::ToWide(message)); };
    notifications.signedInElsewhere = [this](const qsn::Result<qsn::SignInState>& result) {
        m_view.AddNews(L"Signed in, because another application did.");
        CancelSignIn();
        SignedIn(result);
    };
    notifications.signedOutElsewhere = [this](const qsn::Result<void>&) {
        m_view.AddNews(L"Signed out, because another application did.");
        SignedOut(L"Signed out.");
    };
    return notifications;
}

// Without a token this takes the one that other applications share, or else tells where the user gets one.
void Account::SignIn(const std::string& token) {
    m_state.busy = true;
    Status(L"Signing in\u2026");
    m_client.SignIn(token, [this](const qsn::Result<qsn::SignInState>& result) { SignedIn(result); });
}

void Account::SignedIn(const qsn::Result<qsn::SignInState>& result) {
    m_state.busy = m_parts != 0;
    if (!result) return Failed(result.Error());
    if (!result->signedIn) {
        m_loginAddress = result->loginAddress;
        return SignedOut(L"Not signed in.");
    }
    m_state.signedIn = true;
    Refresh();
}

void Account::SignInWithBrowser() {
    if (m_loginAddress.empty()) return AskForLoginPage();
    const unsigned login = ++m_logins;
    try {
        m_login = std::make_unique<BrowserLogin>(
            [this, login, queue = m_queue](BrowserLogin::Outcome outcome, const std::string& token) {
                queue->Post([this, login, outcome, token] { BrowserAnswered(login, outcome, token); });
            });
    } catch (const std::system_error& failure) {
        return Status(L"The browser's answer cannot be waited for. " + Sentence(failure.code()));
    }
    m_state.waitingForBrowser = true;
    Status(L"Sign in on the page that has opened in your browser.");
    Open(m_login->AddressToOpen(m_loginAddress));
}

// Signing in without a token is what tells it.
void Account::AskForLoginPage() {
    m_state.busy = true;
    Status(L"Signing in\u2026");
    m_client.SignIn({}, [this](const qsn::Result<qsn::SignInState>& result) {
        SignedIn(result);
        if (!m_state.signedIn && !m_loginAddress.empty()) SignInWithBrowser();
    });
}

void Account::CancelSignIn() {
    if (!m_state.waitingForBrowser) return;
    ++m_logins;  // what is in the queue already comes too late
    m_login.reset();
    m_state.waitingForBrowser = false;
    Status(L"The sign-in was cancelled.");
}

void Account::BrowserAnswered(unsigned login, BrowserLogin::Outcome outcome, const std::string& token) {
    if (login != m_logins) return;
    m_state.waitingForBrowser = false;
    switch (outcome) {
        case BrowserLogin::Outcome::kToken: return SignIn(token);
        case BrowserLogin::Outcome::kCancelled: return Status(L"The sign-in was cancelled.");
        case BrowserLogin::Outcome::kExpired: return Status(L"Nobody signed in on the page in time.");
        case BrowserLogin::Outcome::kFailed: return Status(L"The sign-in failed. Try again.");
    }
}

void Account::SignOut() {
    m_state.busy = true;
    Status(L"Signing out\u2026");
    m_client.SignOut([this](const qsn::Result<void>& result) {
        m_state.busy = m_parts != 0;
        SignedOut(result ? L"Signed out." : L"Signed out here. " + ForTheUser(result.Error()));
    });
}

void Account::SignedOut(const std::wstring& status) {
    m_state.signedIn = false;
    m_state.name.clear();
    m_state.email.clear();
    m_state.quota.clear();
    m_state.menu.clear();
    m_view.ShowProducts({});
    Status(status);
}

void Account::Refresh() {
    // For another user, perhaps, than the requests under way.
    m_refreshAgain = m_parts != 0;
    if (m_refreshAgain) return;
    m_parts = 3;
    m_partFailed = false;
    m_state.busy = true;
    Status(L"Asking the account service\u2026");
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
        m_state.busy = m_parts != 0;
        if (!result) {
            m_partFailed = true;
            Failed(result.Error());
        } else if (m_state.signedIn) {
            take(*result);
        }
        if (m_parts == 0 && m_refreshAgain && m_state.signedIn) return Refresh();
        Status(m_parts == 0 && !m_partFailed ? L"Up to date." : m_state.status);
    };
}

void Account::Failed(const std::error_code& error) {
    EndsSession(error) ? SignedOut(ForTheUser(error)) : Status(ForTheUser(error));
}

void Account::Open(const std::string& address) {
    if (m_options.noBrowser) return Status(qsn::ToWide(address));
    if (!BrowserLogin::OpenInBrowser(address)) {
        Status(L"No browser opened. The address is " + qsn::ToWide(address));
    }
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
