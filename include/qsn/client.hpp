/*
 * The account client library for hosts in C++17 that would rather not write COM by hand: typed results, no buffers, no
 * reference counts. Header-only, on top of <qsn/qsn.h> and the DLL, which does not depend on it.
 *
 *     qsn::Options options;
 *     options.productSid = L"YOUR-PRODUCT-SID";
 *     qsn::Client client = qsn::Client::Open(options).Get().Value();
 *     client.SignIn(token, [](qsn::Result<qsn::SignInState> state) { ... });
 *     qsn::UserInfo user = client.GetUserInfo(10s).Get().Value();  // in C++20 also: co_await client.GetUserInfo(10s)
 *
 * Rules that hold for everything below:
 *  - Any thread may call any function, except construction, assignment and destruction of the Client itself. Nothing
 *    waits, except Close, the destructor, Operation::Get and Operation::WaitFor. The client has no thread of its own.
 *  - Each operation ends exactly once. The library carries them out one after the other, in the order of the calls.
 *  - Completions, notifications and coroutines that go on ("handlers") run one at a time on the library's worker
 *    thread, or where Options::executor takes them. What cannot even be queued is told on the calling thread instead.
 *  - Handlers may call everything. If one throws, the debugger output gets a line about it, and then
 *    Notifications::handlerFailed is told; nothing else comes of it.
 *  - Narrow texts are UTF-8. A text with a zero in it is refused with std::errc::invalid_argument.
 *  - Errors are in the categories of <qsn/client/errors.hpp>, std::system_category (Windows) or std::generic_category
 *    (std::errc::operation_canceled, timed_out, invalid_argument). Condition has their kinds. A client that is not open
 *    gives QSN_RETURN_E_NOT_INITIALIZED. Functions throw only std::bad_alloc, and what Result documents.
 */
#pragma once

#include <qsn/qsn.h>
#include <qsn/client/session.hpp>

namespace qsn {

/* A session with the account service. It can be moved but not copied. */
class Client {
    using Products = std::vector<Product>;
    template <class T = void>
    using Done = const Completion<T>&;
    using Text = const std::string&;

public:
    /* A client that is not open. */
    Client() noexcept = default;
    /*
     * Loads the DLL, starts a session and sets what the options say. The first of these that fails is the outcome: with
     * an error of Library::Load, of the library, or std::errc::invalid_argument for an empty SID.
     */
    static Request Open(const Options& options, Done<Client> done, TimeLimit limit = {}) {
        return Open(options, Library::Load(options.libraryPath), done, limit);
    }
    static Operation<Client> Open(const Options& options, TimeLimit limit = {}) {
        return Open(options, Library::Load(options.libraryPath), limit);
    }
    /* The same with a library that the host has loaded, linked or made. */
    static Request Open(const Options& options, const Result<Library>& library, Done<Client> done,
                        TimeLimit limit = {}) {
        const auto host = std::make_shared<detail::Host>(options);
        return Begin(host, library, limit, detail::Telling(host, done));
    }
    static Operation<Client> Open(const Options& options, const Result<Library>& library, TimeLimit limit = {}) {
        const auto host = std::make_shared<detail::Host>(options);
        const auto outcome = std::make_shared<detail::Outcome<Client>>(host);
        return {outcome, Begin(host, library, limit, detail::Keeping(outcome))};
    }

    Client(Client&& other) noexcept = default;
    /* Ends the session that was open here, as the destructor does. */
    Client& operator=(Client&& other) noexcept {
        Client old(std::move(*this));
        m_session = std::move(other.m_session);
        return *this;
    }
    /* Closes, so not for a DllMain or a DLL's static objects, where no thread can end. */
    ~Client() { Close(); }

    /*
     * Ends the session. What is queued is cancelled, and so is what is still running after `limit`. Returns within a
     * second, or `limit` if that is more, and a moment. Then everything has been told or handed to the executor, and
     * the DLL is freed, unless copies of its Library exist. It waits for a handler that is running. Inside a handler on
     * the worker thread it waits for nothing, and the DLL goes once the handler has returned. Closing again does
     * nothing.
     */
    void Close(TimeLimit limit = std::chrono::seconds(1)) noexcept {
        if (m_session) m_session->End(limit);
    }
    /* Cancels what is queued; the running operation goes on. */
    void Stop() {
        if (m_session) m_session->CancelQueued();
    }

    /*
     * Each operation has two forms: with a Completion, which may be empty, and for an Operation. `limit` ends it with
     * std::errc::timed_out.
     */

    /*
     * Takes an access token of 1 to 63 bytes, else E_INVALIDARG; nothing is sent to find out whether the service
     * accepts it.
     */
    Request SignIn(Text token, Done<SignInState> done, TimeLimit limit = {}) { return Make(Token(token), done, limit); }
    Operation<SignInState> SignIn(Text token, TimeLimit limit = {}) { return Make(Token(token), limit); }
    /* Takes the token that the suite's applications share, if single sign-on is on and there is one. */
    Request AdoptSharedSignIn(Done<SignInState> done, TimeLimit limit = {}) { return Make(kAdopt, done, limit); }
    Operation<SignInState> AdoptSharedSignIn(TimeLimit limit = {}) { return Make(kAdopt, limit); }
    /* Ends the session's sign-in, at the service too if it can be reached. The token is gone whatever the result. */
    Request SignOut(Done<> done, TimeLimit limit = {}) { return Make(kSignOut, done, limit); }
    Operation<void> SignOut(TimeLimit limit = {}) { return Make(kSignOut, limit); }
    /* The signed-in user's profile and menu. */
    Request GetUserInfo(Done<UserInfo> done, TimeLimit limit = {}) { return Make(kUser, done, limit); }
    Operation<UserInfo> GetUserInfo(TimeLimit limit = {}) { return Make(kUser, limit); }
    /* The user's products, in the service's order. */
    Request GetProductList(Done<Products> done, TimeLimit limit = {}) { return Make(kList, done, limit); }
    Operation<Products> GetProductList(TimeLimit limit = {}) { return Make(kList, limit); }
    /* The second generation's list; first renews a member token that is about to expire. */
    Request GetProductListV2(Done<Products> done, TimeLimit limit = {}) { return Make(kListV2, done, limit); }
    Operation<Products> GetProductListV2(TimeLimit limit = {}) { return Make(kListV2, limit); }
    /* How many downloads are left. */
    Request QueryQuota(Done<Quota> done, TimeLimit limit = {}) { return Make(kQuota, done, limit); }
    Operation<Quota> QueryQuota(TimeLimit limit = {}) { return Make(kQuota, limit); }
    /* Reports one download to the service. */
    Request LogDownload(Done<> done, TimeLimit limit = {}) { return Make(kDownload, done, limit); }
    Operation<void> LogDownload(TimeLimit limit = {}) { return Make(kDownload, limit); }
    /* QSN_CALLBACK_NOT_SIGNED_IN if nobody is signed in. */
    Request AccessToken(Done<std::string> done, TimeLimit limit = {}) { return Make(kAccess, done, limit); }
    Operation<std::string> AccessToken(TimeLimit limit = {}) { return Make(kAccess, limit); }
    /* The address of the page on which the user signs in. */
    Request SignInUrl(Done<std::string> done, TimeLimit limit = {}) { return Make(kUrl, done, limit); }
    Operation<std::string> SignInUrl(TimeLimit limit = {}) { return Make(kUrl, limit); }
    /* The tokens that the suite's applications share; empty if there is none. */
    Request MemberToken(Done<std::string> done, TimeLimit limit = {}) { return Make(kMember, done, limit); }
    Operation<std::string> MemberToken(TimeLimit limit = {}) { return Make(kMember, limit); }
    Request RefreshToken(Done<std::string> done, TimeLimit limit = {}) { return Make(kRefresh, done, limit); }
    Operation<std::string> RefreshToken(TimeLimit limit = {}) { return Make(kRefresh, limit); }
    /* An empty token clears. Errors also: Windows' own from writing to the registry. */
    Request SetMemberToken(Text token, Done<> done, TimeLimit limit = {}) { return Make(Member(token), done, limit); }
    Operation<void> SetMemberToken(Text token, TimeLimit limit = {}) { return Make(Member(token), limit); }
    Request SetRefreshToken(Text token, Done<> done, TimeLimit limit = {}) { return Make(Refresh(token), done, limit); }
    Operation<void> SetRefreshToken(Text token, TimeLimit limit = {}) { return Make(Refresh(token), limit); }
    /* The language of the service's answers, as the service names languages. */
    Request SetLanguage(Text to, Done<> done, TimeLimit limit = {}) { return Make(Language(to), done, limit); }
    Operation<void> SetLanguage(Text to, TimeLimit limit = {}) { return Make(Language(to), limit); }
    /* Sent with most requests. */
    Request SetExtendData(Text data, Done<> done, TimeLimit limit = {}) { return Make(Extend(data), done, limit); }
    Operation<void> SetExtendData(Text data, TimeLimit limit = {}) { return Make(Extend(data), limit); }
    /* The platform that the host asks products for. */
    Request SetPlatform(Platform to, Done<> done, TimeLimit limit = {}) { return Make(Asked(to), done, limit); }
    Operation<void> SetPlatform(Platform to, TimeLimit limit = {}) { return Make(Asked(to), limit); }
    /* Shares sign-in and sign-out with the suite's other applications; see Notifications. */
    Request EnableSingleSignOn(bool on, Done<> done, TimeLimit limit = {}) { return Make(Sharing(on), done, limit); }
    Operation<void> EnableSingleSignOn(bool on, TimeLimit limit = {}) { return Make(Sharing(on), limit); }
    /* Lets the library check the access token as often as the service asks for; see Notifications. */
    Request EnableTokenCheck(bool on, Done<> done, TimeLimit limit = {}) { return Make(Checking(on), done, limit); }
    Operation<void> EnableTokenCheck(bool on, TimeLimit limit = {}) { return Make(Checking(on), limit); }
    /* Talks to the staging service. */
    Request UseTestbed(bool on, Done<> done, TimeLimit limit = {}) { return Make(Testbed(on), done, limit); }
    Operation<void> UseTestbed(bool on, TimeLimit limit = {}) { return Make(Testbed(on), limit); }

private:
    friend struct detail::ClientAccess;
    template <class T>
    using Ask = detail::Ask<T>;

    static constexpr Ask<SignInState> kAdopt{QSN_REQUEST_SIGNIN, &detail::ReadSignIn};
    static constexpr Ask<void> kSignOut{QSN_REQUEST_SIGNOUT, &detail::ReadNothing};
    static constexpr Ask<UserInfo> kUser{QSN_REQUEST_GET_USERINFO, &detail::ReadUser};
    static constexpr Ask<Products> kList{QSN_REQUEST_GET_PRODUCTLIST, &detail::ReadProducts};
    static constexpr Ask<Products> kListV2{QSN_REQUEST_GET_PRODUCTLIST_V2, &detail::ReadProducts};
    static constexpr Ask<Quota> kQuota{QSN_REQUEST_GI_QUERY, &detail::ReadQuota};
    static constexpr Ask<void> kDownload{QSN_REQUEST_GI_LOG, &detail::ReadNothing};
    static constexpr Ask<std::string> kAccess{QSN_REQUEST_GET_ACCESS_TOKEN, &detail::ReadText};
    static constexpr Ask<std::string> kUrl{QSN_REQUEST_GET_SIGNIN_URL, &detail::ReadText};
    static constexpr Ask<std::string> kMember{QSN_REQUEST_CONFIG, &detail::ReadText, QSNCFG_GET_MEMBER_TOKEN};
    static constexpr Ask<std::string> kRefresh{QSN_REQUEST_CONFIG, &detail::ReadText, QSNCFG_GET_REFRESH_TOKEN};

    static Ask<SignInState> Token(Text token) { return {QSN_REQUEST_SIGNIN, &detail::ReadSignIn, 0, &token}; }
    static Ask<void> Set(QSN_CONFIG item, const std::string* text, std::uint32_t value = 0) {
        return {QSN_REQUEST_CONFIG, &detail::ReadNothing, item, text, value};
    }
    static const std::string* OrNull(Text text) { return text.empty() ? nullptr : &text; }
    static Ask<void> Member(Text token) { return Set(QSNCFG_SET_MEMBER_TOKEN, OrNull(token)); }
    static Ask<void> Refresh(Text token) { return Set(QSNCFG_SET_REFRESH_TOKEN, OrNull(token)); }
    static Ask<void> Language(Text to) { return Set(QSNCFG_SET_LANGUAGE, &to); }
    static Ask<void> Extend(Text data) { return Set(QSNCFG_SET_EXTEND_DATA, &data); }
    static Ask<void> Asked(Platform to) { return Set(QSNCFG_SET_PLATFORM_INFO, nullptr, static_cast<uint32_t>(to)); }
    static Ask<void> Sharing(bool on) { return Set(QSNCFG_ENABLE_SINGLE_SIGNON, nullptr, on); }
    static Ask<void> Checking(bool on) { return Set(QSNCFG_ENABLE_CHECK_TOKEN_ROUTINE, nullptr, on); }
    static Ask<void> Testbed(bool on) { return Set(QSNCFG_USE_TESTBED, nullptr, on); }

    template <class T>
    Request Make(const Ask<T>& ask, const Completion<T>& done, TimeLimit limit) {
        return Start<T>(ask, limit, detail::Telling(Host(), done));
    }
    template <class T>
    Operation<T> Make(const Ask<T>& ask, TimeLimit limit) {
        const auto outcome = std::make_shared<detail::Outcome<T>>(Host());
        return {outcome, Start<T>(ask, limit, detail::Keeping(outcome))};
    }
    template <class T>
    Request Start(const Ask<T>& ask, TimeLimit limit, Completion<T> deliver) {
        if (!m_session) return deliver(ErrorOf(QSN_RETURN_E_NOT_INITIALIZED)), Request();
        const auto ticket = std::make_shared<detail::Ticket>(1);
        m_session->Start<T>(ask, limit, ticket, std::move(deliver));
        return Request(ticket);
    }
    std::shared_ptr<detail::Host> Host() const {
        return m_session ? m_session->TheHost() : std::make_shared<detail::Host>();
    }

    // What is set before a client is open: all at once, and the first failure counts.
    struct Opening {
        Opening(std::shared_ptr<detail::Session> begun, Completion<Client> then, std::size_t count)
            : session(std::move(begun)), deliver(std::move(then)), left(count) {}

        void Ended(const std::error_code& error) {
            {
                const std::lock_guard<std::mutex> guard(lock);
                if (!first) first = error;
                if (--left != 0) return;
            }
            Client client;
            client.m_session = std::move(session);
            if (!first) return deliver(std::move(client));
            client.Close();
            deliver(first);
        }

        std::shared_ptr<detail::Session> session;
        Completion<Client> deliver;
        std::size_t left;
        std::error_code first;
        std::mutex lock;
    };

    static Request Begin(const std::shared_ptr<detail::Host>& host, const Result<Library>& library, TimeLimit limit,
                         Completion<Client> deliver) {
        const auto session = std::make_shared<detail::Session>(host);
        const std::error_code error = library ? session->Begin(*library) : library.Error();
        if (error) return deliver(error), Request();
        const Options& options = host->options;
        // Never none, so that a client always opens on the worker thread.
        std::vector<Ask<void>> asks{Asked(options.platform)};
        if (!options.language.empty()) asks.push_back(Language(options.language));
        if (!options.extendData.empty()) asks.push_back(Extend(options.extendData));
        if (options.testbed) asks.push_back(Testbed(true));
        if (options.tokenCheck) asks.push_back(Checking(true));
        if (options.singleSignOn) asks.push_back(Sharing(true));
        const auto ticket = std::make_shared<detail::Ticket>(asks.size());
        const auto opening = std::make_shared<Opening>(session, std::move(deliver), asks.size());
        for (const Ask<void>& ask : asks)
            session->Start<void>(ask, limit, ticket,
                                 [opening](const Result<void>& set) { opening->Ended(set.Error()); });
        return Request(ticket);
    }

    std::shared_ptr<detail::Session> m_session;  // null: not open
};

}  // namespace qsn
