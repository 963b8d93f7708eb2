/* A value or an error. Part of <qsn/client.hpp>. */
#ifndef QSN_CLIENT_RESULT_HPP
#define QSN_CLIENT_RESULT_HPP

#include <functional>
#include <optional>
#include <system_error>
#include <utility>

namespace qsn {

/*
 * An outcome: a value, or the error that explains why there is none. Its holder owns it, and it may move from thread to
 * thread. Hosts that like exceptions call Value, which throws. Hosts that do not like them look at Error first.
 */
template <class T>
class Result {
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
    T& operator*() { return Value(); }
    const T& operator*() const { return Value(); }
    T* operator->() { return &Value(); }
    const T* operator->() const { return &Value(); }

private:
    void Check() const {
        if (!m_value) throw std::system_error(m_error);
    }

    std::error_code m_error;
    std::optional<T> m_value;
};

/* For a success that brings no value. */
template <>
class Result<void> {
public:
    Result() noexcept = default;
    Result(std::error_code error) noexcept : m_error(error) {}  // NOLINT(google-explicit-constructor): `return error;`

    explicit operator bool() const noexcept { return !m_error; }
    const std::error_code& Error() const noexcept { return m_error; }
    /* Throws std::system_error on failure. */
    void Value() const {
        if (m_error) throw std::system_error(m_error);
    }

private:
    std::error_code m_error;
};

/* Tells a host that a request has ended. */
template <class T>
using Completion = std::function<void(Result<T>)>;

}  // namespace qsn

#endif /* QSN_CLIENT_RESULT_HPP */
