/*
 * A library for a host's own unit tests: it plays the account service without qsn.dll, a network, a thread or time.
 *
 *     qsn::FakeLibrary library;
 *     library.account.user.name = "Ada";
 *     qsn::Client client = qsn::Client::Open(options, library.Get()).Get().Value();
 *     client.SignIn("any-token");
 *     library.Next(QSN_REQUEST_GET_USERINFO, qsn::FakeAnswer::Status(503));
 *     client.GetUserInfo(...);                        // has ended with a transient error when this returns
 *
 * What a client asks for is carried out inside the call, in order and one after the other, and its completion comes on
 * the calling thread. What is asked for inside a handler follows when that handler has returned. An answer with a delay
 * ends when Pass lets the time go by, and what was asked for behind it waits with it. Time limits count by the same
 * time. Cancelling, Stop, Close and the destructor work as always.
 *
 * The tokens are played as far as a client sees them: without a sign-in, what needs one ends with
 * QSN_CALLBACK_NOT_SIGNED_IN. Options::log is told nothing, and the methods of IPVSubscription that a Client does not
 * use return E_NOTIMPL. Any thread may call any function, but `account` is for tests with one thread.
 */
#pragma once

#include <qsn/client.hpp>
#include <qsn/testing/fake_session.hpp>

namespace qsn {

/* The account service and the library in front of it. */
class FakeLibrary {
    const std::shared_ptr<detail::FakeService> m_service = std::make_shared<detail::FakeService>();

public:
    FakeLibrary() = default;
    FakeLibrary(const FakeLibrary&) = delete;
    FakeLibrary& operator=(const FakeLibrary&) = delete;

    /* For Client::Open. Clients of one library share its account. They may outlive it. */
    Library Get() const {
        return Library::From([service = m_service](void** object) {
            *object = static_cast<IPVSubscription2*>(new detail::FakeSession(service));
            return S_OK;
        });
    }

    FakeAccount& account = m_service->account;

    /* How the next request of this kind ends; each call adds one more. */
    void Next(QSN_REQUEST_KIND kind, const FakeAnswer& answer) {
        const std::lock_guard<std::mutex> lock(m_service->lock);
        m_service->next[kind].push_back(answer);
    }
    /* How all others of this kind end from now on; FakeAnswer::Success() at first. */
    void Always(QSN_REQUEST_KIND kind, const FakeAnswer& answer) {
        const std::lock_guard<std::mutex> lock(m_service->lock);
        m_service->always[kind] = answer;
    }
    /* Lets time go by: answers with a delay come, and time limits end what is late, each at its time. */
    void Pass(TimeLimit time) {
        std::unique_lock<std::mutex> lock(m_service->lock);
        const TimeLimit end = m_service->now + time;
        for (;;) {
            const auto sessions = Sessions();
            TimeLimit next = detail::kAtNoTime;
            for (const auto& each : sessions) next = (std::min)(next, each->NextEvent());
            if (next > end) break;
            m_service->now = next;
            lock.unlock();
            for (const auto& each : sessions) each->Run();
            lock.lock();
        }
        m_service->now = end;
    }
    /* What has been carried out since the last call, in that order; not what was cancelled before its turn. */
    std::vector<FakeCall> TakeCalls() {
        const std::lock_guard<std::mutex> lock(m_service->lock);
        return std::exchange(m_service->calls, {});
    }

    /* What happens without being asked for; see Notifications. Clients with single sign-on hear of the first two. */
    void SignInElsewhere(const std::string& token = "shared-token") {
        account.sharedToken = token;
        Report(QSN_ACTION_SSO_SIGNIN_RESULT, QSN_CALLBACK_OK, nullptr, &token);
    }
    void SignOutElsewhere() {
        const std::string none;
        account.sharedToken = account.memberToken = account.refreshToken = none;
        Report(QSN_ACTION_SSO_SIGNOUT_RESULT, QSN_CALLBACK_OK, nullptr, &none);
    }
    void CheckToken(QSN_CALLBACK_RESULT result = QSN_CALLBACK_OK) {
        const std::string none;
        Report(QSN_ACTION_CHECK_TOKEN_ROUTINE_RESULT, result, nullptr, detail::EndsSignIn(result) ? &none : nullptr);
    }
    void SendServiceMessage(const std::string& text) { Notify(QSN_NOTIFY_SERVICE_MESSAGE, &text); }
    /* As another application sets the shared tokens; empty: clears. */
    void SetMemberToken(const std::string& token) {
        account.memberToken = token;
        token.empty() ? Notify(QSN_NOTIFY_MEMBER_TOKEN_CLEAR, nullptr) : Notify(QSN_NOTIFY_MEMBER_TOKEN_SET, &token);
    }
    void SetRefreshToken(const std::string& token) {
        account.refreshToken = token;
        token.empty() ? Notify(QSN_NOTIFY_REFRESH_TOKEN_CLEAR, nullptr) : Notify(QSN_NOTIFY_REFRESH_TOKEN_SET, &token);
    }

private:
    void Notify(QSN_NOTIFY what, const std::string* text) { Report(QSN_ACTION_NOTIFY, what, text, nullptr); }
    void Report(std::int32_t action, std::int32_t result, const std::string* text, const std::string* token) {
        std::unique_lock<std::mutex> lock(m_service->lock);
        const auto sessions = Sessions();
        lock.unlock();
        for (const auto& each : sessions) each->Report(action, result, text, token);
    }
    // With the lock.
    std::vector<std::shared_ptr<detail::FakeSession>> Sessions() const {
        std::vector<std::shared_ptr<detail::FakeSession>> owned;
        for (detail::FakeSession* each : m_service->sessions) {
            each->AddRef();
            owned.push_back(detail::Owned(each));
        }
        return owned;
    }
};

}  // namespace qsn
