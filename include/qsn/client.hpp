/*
 * The account client library for hosts in C++17 that would rather not write COM by hand: requests with typed results,
 * completions or futures, no buffers, no reference counts. Header-only, on top of <qsn/qsn.h> and the DLL, which does
 * not depend on it.
 *
 *     qsn::Options options;
 *     options.productSid = L"YOUR-PRODUCT-SID";
 *     qsn::Client client = qsn::Client::Open(options).Value();
 *     client.SignIn(token, [](qsn::Result<qsn::SignInState> state) { ... });
 *     qsn::UserInfo user = client.GetUserInfo().get().Value();
 *
 * Rules that hold for everything below:
 *  - Any thread may call any function, except construction, assignment and destruction of the Client itself.
 *  - A client carries out requests one after the other, in the order in which they were made. The end of each is
 *    reported exactly once and in the same order, even if it fails, is cancelled or was refused from the start.
 *  - Completions and notifications ("handlers") run on the client's own thread, or where Options::executor takes them,
 *    one at a time. They may make requests. They may throw: Notifications::handlerFailed is told of it.
 *  - A function that waits (its comment says so), Close and a request for a future return
 *    std::errc::resource_deadlock_would_occur at once on the client's own thread, where they would wait for themselves.
 *    An executor's thread may call them like any other.
 *  - Narrow texts are UTF-8. A text with a zero in it is refused with std::errc::invalid_argument.
 *  - Errors are in ResultCategory (HRESULTs), CallbackCategory (how requests end), std::system_category (Windows) or
 *    std::generic_category (the client's own). A client that is not open gives QSN_RETURN_E_NOT_INITIALIZED; it calls
 *    completions on the calling thread. Functions throw only std::bad_alloc, and what Result documents.
 */
#ifndef QSN_CLIENT_HPP
#define QSN_CLIENT_HPP

#include <qsn/qsn.h>
#include <qsn/client/errors.hpp>
#include <qsn/client/library.hpp>
#include <qsn/client/records.hpp>
#include <qsn/client/result.hpp>
#include <qsn/client/session.hpp>
#include <qsn/client/text.hpp>

#include <cstdint>
#include <future>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace qsn {

/* What a client is opened with. */
struct Options {
    std::wstring productSid;
    std::wstring libraryPath = L"qsn.dll";  // see Library::Load
    std::wstring logFolder;                 // of the usage log's Orb.dll; empty: its usual place
    Notifications notifications;
    /*
     * Where handlers run; empty: on the client's own thread. A GUI host passes one that posts to its own thread. It is
     * called on the client's thread and must not wait for the function to end. A function that it drops is never
     * called. Functions may run after the client is gone: completions still come then, notifications do not.
     */
    Executor executor;
};

enum class Platform : std::uint32_t { kNone = 0, k64Bit = 1, k32Bit = 2 };

/* A session with the account service. It can be moved but not copied. */
class Client {
public:
    /* A client that is not open. */
    Client() noexcept = default;
    /*
     * Loads the DLL and starts a session; takes some 100 ms. Errors: those of Library::Load; E_FAIL; E_OUTOFMEMORY;
     * std::errc::invalid_argument for an empty SID.
     */
    static Result<Client> Open(const Options& options) {
        Result<Library> library = Library::Load(options.libraryPath);
        if (!library) return library.Error();
        return Open(options, *library);
    }
    /* The same with a library that the host has loaded or linked. */
    static Result<Client> Open(const Options& options, const Library& library) {
        if (options.productSid.empty() || HasZero(options.productSid) || HasZero(options.logFolder))
            return detail::Invalid();
        Result<ComPtr<IPVSubscription2>> object = library.Create();
        if (!object) return object.Error();
        if (!options.logFolder.empty()) {
            std::wstring folder = options.logFolder;
            const HRESULT hr = (*object)->Config(QSNCFG_SET_LOG_FOLDER, &folder[0], nullptr);
            if (FAILED(hr)) return ErrorOf(hr);
        }
        auto host = std::make_shared<detail::Host>();
        host->notifications = options.notifications;
        host->executor = options.executor;
        Client client;
        client.m_session = std::make_shared<detail::Session>(library, std::move(*object), std::move(host));
        const std::error_code error = detail::Session::Start(client.m_session, options.productSid);
        if (error) return error;
        return client;
    }

    Client(Client&& other) noexcept = default;
    /* Ends the session that was open here, as the destructor does. */
    Client& operator=(Client&& other) noexcept {
        Client old(std::move(*this));
        m_session = std::move(other.m_session);
        return *this;
    }
    /*
     * Like Close, so not for a DllMain or a DLL's static objects, where no thread can end. On the client's own thread,
     * that is, inside a handler, it does not wait: the session ends and the DLL is freed once the handler has returned.
     */
    ~Client() {
        if (m_session) m_session->End();
    }

    /*
     * Ends the session: the running request is finished first, and queued ones end with
     * std::errc::operation_canceled. Waits for that. When it returns, the DLL is freed (unless copies of its Library
     * exist), and all handlers have run or are with the executor. Closing again does nothing.
     */
    Result<void> Close() {
        if (OnOwnThread()) return detail::Deadlock();
        if (m_session) m_session->End();
        return {};
    }
    /*
     * Cancels what is queued. Those requests, and functions waiting on other threads, end with
     * std::errc::operation_canceled once the running request has ended as usual. The client stays open.
     */
    void Stop() {
        if (m_session) m_session->CancelQueued();
    }

    /*
     * Requests. Each comes in two forms: with a completion (which may be empty), and for a future. Futures are
     * fulfilled on the client's own thread, without the executor, so a GUI thread may wait for one. A handler that runs
     * on the client's own thread must not wait for any. Errors of all: CallbackCategory, std::errc::operation_canceled,
     * and E_FAIL if the library gave no answer.
     */

    /*
     * Signs in with an access token of at most 63 bytes; nothing is sent to find out whether the service accepts it. A
     * longer one: std::errc::invalid_argument. Without a token it takes the one that the suite's other applications
     * share, if single sign-on is on.
     */
    void SignIn(const std::string& token, Completion<SignInState> done) { Make(SignInRequest(token), std::move(done)); }
    std::future<Result<SignInState>> SignIn(const std::string& token = {}) { return Make(SignInRequest(token)); }

    /* Ends the session's sign-in, at the service too if it can be reached. The token is gone whatever the result. */
    void SignOut(Completion<void> done) { Make(SignOutRequest(), std::move(done)); }
    std::future<Result<void>> SignOut() { return Make(SignOutRequest()); }

    /* The signed-in user's profile and menu. */
    void GetUserInfo(Completion<UserInfo> done) { Make(UserRequest(), std::move(done)); }
    std::future<Result<UserInfo>> GetUserInfo() { return Make(UserRequest()); }

    /* The user's products, in the service's order. */
    void GetProductList(Completion<std::vector<Product>> done) { Make(ProductsRequest(), std::move(done)); }
    std::future<Result<std::vector<Product>>> GetProductList() { return Make(ProductsRequest()); }

    /* The second generation's list; first renews a member token that is about to expire. */
    void GetProductListV2(Completion<std::vector<Product>> done) { Make(ProductsV2Request(), std::move(done)); }
    std::future<Result<std::vector<Product>>> GetProductListV2() { return Make(ProductsV2Request()); }

    /* How many downloads are left. */
    void QueryQuota(Completion<Quota> done) { Make(QuotaRequest(), std::move(done)); }
    std::future<Result<Quota>> QueryQuota() { return Make(QuotaRequest()); }

    /* Reports one download to the service. */
    void LogDownload(Completion<void> done) { Make(DownloadRequest(), std::move(done)); }
    std::future<Result<void>> LogDownload() { return Make(DownloadRequest()); }

    /*
     * The functions below wait until everything requested before has ended. Errors of all: those of ResultCategory,
     * std::errc::operation_canceled, std::errc::resource_deadlock_would_occur on the client's own thread.
     */

    /* QSN_RETURN_E_NO_TOKEN if nobody is signed in. */
    Result<std::string> AccessToken() {
        return Ask([](IPVSubscription2& qsn, std::string& buffer, uint32_t& length) {
            return qsn.GetAccessToken(&buffer[0], length, &length);
        });
    }
    /* The address of the page on which the user signs in. */
    Result<std::string> SignInUrl() {
        return Ask([](IPVSubscription2& qsn, std::string& buffer, uint32_t& length) {
            return qsn.GetSignInURL(&buffer[0], length, &length);
        });
    }
    /* The tokens that the suite's applications share; empty if there is none. */
    Result<std::string> MemberToken() { return StoredToken(QSNCFG_GET_MEMBER_TOKEN); }
    Result<std::string> RefreshToken() { return StoredToken(QSNCFG_GET_REFRESH_TOKEN); }
    /* An empty token clears. Errors also: Windows' own from writing to the registry. */
    Result<void> SetMemberToken(const std::string& token) { return StoreToken(QSNCFG_SET_MEMBER_TOKEN, token); }
    Result<void> SetRefreshToken(const std::string& token) { return StoreToken(QSNCFG_SET_REFRESH_TOKEN, token); }

    /* The language of the service's answers, as the service names languages. */
    Result<void> SetLanguage(const std::wstring& language) { return Set(QSNCFG_SET_LANGUAGE, language); }
    Result<void> SetLanguage(const std::string& language) { return SetLanguage(ToWide(language)); }
    /* Sent with most requests. */
    Result<void> SetExtendData(const std::wstring& data) { return Set(QSNCFG_SET_EXTEND_DATA, data); }
    Result<void> SetExtendData(const std::string& data) { return SetExtendData(ToWide(data)); }
    /* The platform that the host asks products for. */
    Result<void> SetPlatform(Platform platform) {
        return Set(QSNCFG_SET_PLATFORM_INFO, static_cast<std::uint32_t>(platform));
    }
    /* Shares sign-in and sign-out with the suite's other applications; see Notifications. */
    Result<void> EnableSingleSignOn(bool on) { return Set(QSNCFG_ENABLE_SINGLE_SIGNON, std::uint32_t{on}); }
    /* Lets the library check the access token as often as the service asks for; see Notifications. */
    Result<void> EnableTokenCheck(bool on) { return Set(QSNCFG_ENABLE_CHECK_TOKEN_ROUTINE, std::uint32_t{on}); }
    /* Talks to the staging service. */
    Result<void> UseTestbed(bool on) { return Set(QSNCFG_USE_TESTBED, std::uint32_t{on}); }

private:
    static constexpr std::size_t kLongestAccessToken = 63;
    static constexpr std::size_t kLongestAnswer = 1 << 24;  // a guard against an endless loop

    template <class Text>
    static bool HasZero(const Text& text) {
        return text.find(typename Text::value_type()) != Text::npos;
    }

    bool OnOwnThread() const noexcept { return m_session && m_session->OnOwnThread(); }

    static detail::Request<SignInState> SignInRequest(const std::string& token) {
        const bool bad = token.size() > kLongestAccessToken || HasZero(token);
        // Null rather than empty if there is none: only then does the library look for a shared one.
        const auto call = [token](IPVSubscription2& qsn) {
            return qsn.SignIn(token.empty() ? nullptr : token.c_str());
        };
        return {QSN_ACTION_SIGNIN_RESULT, call, &detail::ReadSignIn, bad ? detail::Invalid() : std::error_code()};
    }
    static detail::Request<void> SignOutRequest() {
        return {QSN_ACTION_SIGNOUT_RESULT, &IPVSubscription2::SignOut, &detail::ReadNothing};
    }
    static detail::Request<UserInfo> UserRequest() {
        return {QSN_ACTION_GET_USERINFO_RESULT, &IPVSubscription2::GetUserInfo, &detail::ReadUser};
    }
    static detail::Request<std::vector<Product>> ProductsRequest() {
        return {QSN_ACTION_GET_PRODUCTLIST_RESULT, &IPVSubscription2::GetProductList, &detail::ReadProducts};
    }
    static detail::Request<std::vector<Product>> ProductsV2Request() {
        return {QSN_ACTION_GET_PRODUCTLIST_V2_RESULT, &IPVSubscription2::GetProductListV2, &detail::ReadProducts};
    }
    static detail::Request<Quota> QuotaRequest() {
        const auto call = [](IPVSubscription2& qsn) { return qsn.Config(QSNCFG_GI_QUERY, nullptr, nullptr); };
        return {QSN_ACTION_GI_QUERY_RESULT, call, &detail::ReadQuota};
    }
    static detail::Request<void> DownloadRequest() {
        const auto call = [](IPVSubscription2& qsn) { return qsn.Config(QSNCFG_GI_LOG, nullptr, nullptr); };
        return {QSN_ACTION_GI_LOG_RESULT, call, &detail::ReadNothing};
    }

    template <class T>
    void Make(detail::Request<T> request, Completion<T> done) {
        if (m_session) return m_session->Make(std::move(request), detail::Sink<T>{std::move(done), false});
        if (done) done(ErrorOf(QSN_RETURN_E_NOT_INITIALIZED));
    }
    template <class T>
    std::future<Result<T>> Make(detail::Request<T> request) {
        const auto promise = std::make_shared<std::promise<Result<T>>>();
        std::future<Result<T>> future = promise->get_future();
        const auto fulfil = [promise](Result<T> result) { promise->set_value(std::move(result)); };
        if (OnOwnThread()) {
            fulfil(detail::Deadlock());
        } else if (m_session) {
            m_session->Make(std::move(request), detail::Sink<T>{fulfil, true});
        } else {
            fulfil(ErrorOf(QSN_RETURN_E_NOT_INITIALIZED));
        }
        return future;
    }

    template <class T, class Call>
    Result<T> Wait(Call call) {
        if (!m_session) return ErrorOf(QSN_RETURN_E_NOT_INITIALIZED);
        return m_session->Wait<T>(std::move(call));
    }
    // `call(qsn, buffer, length)` copies a text into the buffer and its length into `length`, as the library's methods
    // do: E_INVALIDARG if the buffer is too small.
    template <class Call>
    Result<std::string> Ask(Call call) {
        return Wait<std::string>([call](IPVSubscription2& qsn) -> Result<std::string> {
            std::string buffer(512, '\0');
            for (;;) {
                auto length = static_cast<uint32_t>(buffer.size());
                const HRESULT hr = call(qsn, buffer, length);
                if (SUCCEEDED(hr)) return buffer.substr(0, length);
                if (hr != E_INVALIDARG || buffer.size() >= kLongestAnswer) return ErrorOf(hr);
                buffer.resize(buffer.size() * 4);
            }
        });
    }
    Result<std::string> StoredToken(int32_t item) {
        return Ask([item](IPVSubscription2& qsn, std::string& buffer, uint32_t& length) {
            return qsn.Config(item, &buffer[0], &length);
        });
    }
    Result<void> StoreToken(int32_t item, std::string token) {
        if (HasZero(token)) return detail::Invalid();
        return Wait<void>([item, token](IPVSubscription2& qsn) mutable -> Result<void> {
            auto length = static_cast<uint32_t>(token.size());
            const HRESULT hr = qsn.Config(item, &token[0], &length);
            return hr > 0 ? std::error_code(static_cast<int>(hr), std::system_category()) : ErrorOf(hr);
        });
    }
    Result<void> Set(int32_t item, std::wstring text) {
        if (HasZero(text)) return detail::Invalid();
        return Wait<void>([item, text](IPVSubscription2& qsn) mutable -> Result<void> {
            return ErrorOf(qsn.Config(item, &text[0], nullptr));
        });
    }
    Result<void> Set(int32_t item, std::uint32_t value) {
        return Wait<void>([item, value](IPVSubscription2& qsn) mutable -> Result<void> {
            return ErrorOf(qsn.Config(item, &value, nullptr));
        });
    }

    std::shared_ptr<detail::Session> m_session;  // null: not open
};

}  // namespace qsn

#endif /* QSN_CLIENT_HPP */
