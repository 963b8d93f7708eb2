/* What a call returns: the handle to cancel with, and the outcome to wait for. Part of <qsn/client.hpp>. */
#pragma once

#include <qsn/client/host.hpp>

#include <algorithm>
#include <condition_variable>
#include <mutex>
#if defined(__cpp_impl_coroutine)
#include <coroutine>
#endif

namespace qsn {
namespace detail {

// As long as a wait may be: the clock's numbers end somewhere.
inline constexpr TimeLimit kLongestWait = std::chrono::hours(24);

class Cancellable {
public:
    virtual ~Cancellable() = default;
    virtual void Cancel() noexcept = 0;
};

// Where the outcome of an operation waits for the host.
template <class T>
class Outcome {
public:
    explicit Outcome(std::shared_ptr<const Host> host) noexcept : m_host(std::move(host)) {}

    bool IsInside() const noexcept { return m_host->IsInside(); }
    void Set(Result<T> result) {
        std::unique_lock<std::mutex> lock(m_lock);
        m_result.emplace(std::move(result));
        const auto then = std::move(m_then);
        lock.unlock();
        m_changed.notify_all();  // who waits need not wait for the lock as well
        if (then) Host::Run(m_host, then);
    }
    // Whether there is a result, at the latest after `limit`; at once inside a call from the library.
    bool Wait(TimeLimit limit) {
        std::unique_lock<std::mutex> lock(m_lock);
        if (m_result || IsInside()) return m_result.has_value();
        return m_changed.wait_for(lock, (std::min)(limit, kLongestWait), [this] { return m_result.has_value(); });
    }
    // Runs `then` where handlers run once there is a result. False, and it will not run, if there is one.
    bool Then(std::function<void()> then) {
        const std::lock_guard<std::mutex> lock(m_lock);
        if (!m_result) m_then = std::move(then);
        return !m_result;
    }
    // Only if there is a result, and once.
    Result<T> Take() { return std::move(*m_result); }

private:
    const std::shared_ptr<const Host> m_host;
    std::mutex m_lock;
    std::condition_variable m_changed;
    std::optional<Result<T>> m_result;
    std::function<void()> m_then;
};

}  // namespace detail

/* Cancels an operation. Copies cancel the same one; it may outlive its client. */
class Request {
public:
    Request() noexcept = default;
    explicit Request(std::shared_ptr<detail::Cancellable> target) noexcept : m_target(std::move(target)) {}

    /*
     * Asks for the operation to end, and returns at once; works inside handlers. It ends with
     * std::errc::operation_canceled, unless its outcome is there already.
     */
    void Cancel() const noexcept {
        if (m_target) m_target->Cancel();
    }

private:
    std::shared_ptr<detail::Cancellable> m_target;
};

/*
 * An operation under way. It may be dropped, which does not cancel it, and may outlive its client. Its outcome is to be
 * had once: with Get, or in C++20 with `co_await`, after which the coroutine goes on where handlers run.
 */
template <class T>
class Operation {
public:
    Operation() noexcept = default;
    Operation(std::shared_ptr<detail::Outcome<T>> outcome, Request request) noexcept
        : m_outcome(std::move(outcome)), m_request(std::move(request)) {}

    /* See Request. */
    void Cancel() const noexcept { m_request.Cancel(); }

    /*
     * Waits for the outcome, which comes without the executor's help: a GUI thread may wait. A handler on the library's
     * worker thread may not: std::errc::resource_deadlock_would_occur at once, unless the outcome is there. After it
     * was taken: std::errc::invalid_argument.
     */
    Result<T> Get() {
        if (!m_outcome) return std::make_error_code(std::errc::invalid_argument);
        while (!m_outcome->Wait(detail::kLongestWait)) {
            if (m_outcome->IsInside()) return std::make_error_code(std::errc::resource_deadlock_would_occur);
        }
        return std::exchange(m_outcome, nullptr)->Take();
    }
    /* Whether Get need not wait, at the latest after `limit`; inside such a handler at once. */
    bool WaitFor(TimeLimit limit) const { return !m_outcome || m_outcome->Wait(limit); }

#if defined(__cpp_impl_coroutine)
    auto operator co_await() const noexcept {
        struct Awaiter {
            std::shared_ptr<detail::Outcome<T>> outcome;

            bool await_ready() const { return outcome->Wait(TimeLimit(0)); }
            bool await_suspend(std::coroutine_handle<> waiting) const {
                const auto kept = outcome;  // the coroutine, and the awaiter with it, may be gone before Then returns
                return kept->Then([waiting] { waiting.resume(); });
            }
            Result<T> await_resume() const { return outcome->Take(); }
        };
        return Awaiter{m_outcome};
    }
#endif

private:
    std::shared_ptr<detail::Outcome<T>> m_outcome;
    Request m_request;
};

}  // namespace qsn
