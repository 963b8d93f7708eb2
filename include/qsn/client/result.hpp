/* A value or an error. Part of <qsn/client.hpp>. */
#pragma once

#include <functional>
#include <optional>
#include <system_error>
#include <type_traits>
#include <utility>

namespace qsn {

template <class T>
class Result;

namespace detail {

template <class Other, class Next, class... Arguments>
Other Transform(Next& next, Arguments&&... arguments) {
    if constexpr (std::is_same_v<Other, Result<void>>) {
        return std::invoke(next, std::forward<Arguments>(arguments)...), Other();
    } else {
        return std::invoke(next, std::forward<Arguments>(arguments)...);
    }
}

}  // namespace detail

/*
 * An outcome: a value, or the error that explains why there is none. Its holder owns it, and it may move from thread to
 * thread. Hosts that like exceptions call Value, which throws. Hosts that do not like them look at Error first.
 */
template <class T>
class [[nodiscard]] Result {
public:
    Result(T value) : m_value(std::move(value)) {}              // NOLINT(google-explicit-constructor): `return value;`
    Result(std::error_code error) noexcept : m_error(error) {}  // NOLINT(google-explicit-constructor): `return error;`

    explicit operator bool() const noexcept { return m_value.has_value(); }
    const std::error_code& Error() const noexcept { return m_error; }

    /* Throws std::system_error if there is none. */
    T& Value() & { return Check(), *m_value; }
    const T& Value() const& { return Check(), *m_value; }
    T Value() && { return Check(), std::move(*m_value); }
    /* The same. */
    T& operator*() & { return Value(); }
    const T& operator*() const& { return Value(); }
    T operator*() && { return std::move(*this).Value(); }
    T* operator->() { return &Value(); }
    const T* operator->() const { return &Value(); }

    T value_or(T other) const& { return m_value ? *m_value : std::move(other); }
    T value_or(T other) && { return m_value ? std::move(*m_value) : std::move(other); }
    /* The Result that `next(value)` returns, or this error. */
    template <class Next, class Other = std::invoke_result_t<Next, const T&>>
    Other and_then(Next&& next) const& {
        return m_value ? std::invoke(next, *m_value) : Other(m_error);
    }
    template <class Next, class Other = std::invoke_result_t<Next, T>>
    Other and_then(Next&& next) && {
        return m_value ? std::invoke(next, std::move(*m_value)) : Other(m_error);
    }
    /* What `next(value)` returns, as a Result, or this error. */
    template <class Next, class Other = Result<std::invoke_result_t<Next, const T&>>>
    Other transform(Next&& next) const& {
        return m_value ? detail::Transform<Other>(next, *m_value) : Other(m_error);
    }
    template <class Next, class Other = Result<std::invoke_result_t<Next, T>>>
    Other transform(Next&& next) && {
        return m_value ? detail::Transform<Other>(next, std::move(*m_value)) : Other(m_error);
    }

private:
    void Check() const {
        if (!m_value) throw std::system_error(m_error);
    }

    std::error_code m_error;
    std::optional<T> m_value;
};

/* For a success that brings no value. */
template <>
class [[nodiscard]] Result<void> {
public:
    Result() noexcept = default;
    Result(std::error_code error) noexcept : m_error(error) {}  // NOLINT(google-explicit-constructor): `return error;`

    explicit operator bool() const noexcept { return !m_error; }
    const std::error_code& Error() const noexcept { return m_error; }
    void Value() const {
        if (m_error) throw std::system_error(m_error);
    }
    template <class Next, class Other = std::invoke_result_t<Next>>
    Other and_then(Next&& next) const {
        return m_error ? Other(m_error) : std::invoke(next);
    }
    template <class Next, class Other = Result<std::invoke_result_t<Next>>>
    Other transform(Next&& next) const {
        return m_error ? Other(m_error) : detail::Transform<Other>(next);
    }

private:
    std::error_code m_error;
};

/* Tells a host that an operation has ended. */
template <class T>
using Completion = std::function<void(Result<T>)>;

}  // namespace qsn
