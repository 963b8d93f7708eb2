/* What went wrong, as std::error_code: a name and a sentence for each code. Part of <qsn/client.hpp>. */
#pragma once

#include <qsn/qsn.h>

#include <cstdio>
#include <string>
#include <system_error>

namespace qsn {

/* Kinds of failures, for decisions: `if (error == qsn::Condition::kTransient)`. A failure may be of several, or none.
 */
enum class Condition {
    kSignInRequired = 1,  // there is no access token that the service takes
    kOffline,             // the service cannot be reached
    kTimedOut,            // the request's own time limit is over, or the service took too long
    kCancelled,
    kRefused,    // the service has understood the request and said no
    kProtocol,   // what answered is not the service, or its answer makes no sense
    kTransient,  // the same request may succeed later
};

struct CodeText {
    int code;
    unsigned conditions;  // a bit for each Condition, the lowest for kSignInRequired
    const char* name;
    const char* sentence;  // the cause and what to do about it
};

namespace detail {

constexpr unsigned Bit(Condition condition) { return 1U << (static_cast<unsigned>(condition) - 1); }
inline constexpr unsigned kSignIn = Bit(Condition::kSignInRequired), kRefused = Bit(Condition::kRefused),
                          kProtocol = Bit(Condition::kProtocol), kTransient = Bit(Condition::kTransient),
                          kOffline = Bit(Condition::kOffline) | kTransient,
                          kTimedOut = Bit(Condition::kTimedOut) | kTransient;

constexpr int Signed(unsigned long code) { return static_cast<int>(code); }

inline constexpr CodeText kResultTexts[] = {
    {0, 0, "S_OK", "It succeeded, and there is nothing to do."},
    {Signed(0x80004001), 0, "E_NOTIMPL", "The library does not know the item; ship the host's qsn.dll."},
    {Signed(0x80004002), 0, "E_NOINTERFACE", "The library has no such interface; ship the host's qsn.dll."},
    {Signed(0x80004003), 0, "E_POINTER", "A pointer that is needed was null; correct the call."},
    {Signed(0x80004005), 0, "E_FAIL", "The library failed without a reason; try again, look at its log."},
    {Signed(0x8000FFFF), 0, "E_UNEXPECTED", "Windows or the session was not in order; start it again."},
    {Signed(0x8007000E), 0, "E_OUTOFMEMORY", "Memory or threads have run out; free some and try again."},
    {Signed(0x80070057), 0, "E_INVALIDARG", "An argument is missing, too long or not known; correct the call."},
    {Signed(0x86210002), kSignIn, "QSN_RETURN_E_NO_TOKEN", "The session holds no access token; let the user sign in."},
    {Signed(0x86210004), 0, "QSN_RETURN_E_NOT_INITIALIZED", "The client is not open; open it before using it."},
    {Signed(0x86210005), 0, "QSN_RETURN_E_ALREADY_INITIALIZED", "The library object is in use; make another."},
    {Signed(0x86210006), 0, "QSN_RETURN_E_TIMEOUT", "The task was dropped, or not reached within 120 s; ask again."}};

// Only those who run the service know what most of its results mean.
inline constexpr char kAskWhy[] = "The service refused the request with this result; ask those who run it why.";
inline constexpr char kSignInAgain[] = "The service takes the access token no more; let the user sign in again.";
inline constexpr CodeText kCallbackTexts[] = {
    {0, 0, "QSN_CALLBACK_OK", "It succeeded, and there is nothing to do."},
    {1, kProtocol, "QSN_CALLBACK_NETWORK_OR_UNKNOWN", "It failed without a code of its own; look at the log."},
    {2, kSignIn | kRefused, "QSN_CALLBACK_SERVER_RESULT_1", kSignInAgain},
    {3, kSignIn, "QSN_CALLBACK_NOT_SIGNED_IN", "Nobody is signed in, so nothing was sent; let the user sign in first."},
    {4, kRefused, "QSN_CALLBACK_SERVER_RESULT_2", kAskWhy},
    {5, kProtocol, "QSN_CALLBACK_REPLY_INCOMPLETE", "The service's reply is not complete; try again, report it."},
    {8, kProtocol, "QSN_CALLBACK_REPLY_NOT_AUTHENTIC", "The reply is not the service's own; check what altered it."},
    {9, kRefused, "QSN_CALLBACK_SERVER_RESULT_3", kAskWhy},
    {10, kRefused, "QSN_CALLBACK_SERVER_RESULT_6", "The service declined the request; tell the user its message."},
    {11, 0, "QSN_CALLBACK_REQUEST_NOT_SIGNED", "The library's key cannot be used, so nothing was sent; ship another."},
    {101, kSignIn | kRefused, "QSN_CALLBACK_SERVER_RESULT_101", kSignInAgain},
    {102, kRefused, "QSN_CALLBACK_SERVER_RESULT_102", kAskWhy},
    {103, kRefused, "QSN_CALLBACK_SERVER_RESULT_103", kAskWhy},
    {104, kRefused, "QSN_CALLBACK_SERVER_RESULT_104", kAskWhy},
    {105, kRefused, "QSN_CALLBACK_SERVER_RESULT_105", kAskWhy},
    {106, kRefused, "QSN_CALLBACK_SERVER_RESULT_106", kAskWhy},
    {107, kSignIn | kRefused, "QSN_CALLBACK_SERVER_RESULT_107", kSignInAgain}};

inline constexpr char kInBetween[] = "What answers is not the service; check what is between it and this computer.";
inline constexpr CodeText kNetworkTexts[] = {
    {12002, kTimedOut, "ERROR_INTERNET_TIMEOUT", "The service took too long to answer; try again later."},
    {12007, kOffline, "ERROR_INTERNET_NAME_NOT_RESOLVED", "The service's name cannot be found; check the network."},
    {12029, kOffline, "ERROR_INTERNET_CANNOT_CONNECT", "No connection came about; check the network and the proxy."},
    {12030, kTransient, "ERROR_INTERNET_CONNECTION_ABORTED", "The connection was lost; try again."},
    {12037, kProtocol, "ERROR_INTERNET_SEC_CERT_DATE_INVALID", "The certificate is out of date; check the clock."},
    {12038, kProtocol, "ERROR_INTERNET_SEC_CERT_CN_INVALID", kInBetween},
    {12045, kProtocol, "ERROR_INTERNET_INVALID_CA", kInBetween},
    {12152, kProtocol, "ERROR_HTTP_INVALID_SERVER_RESPONSE", kInBetween},
    {12157, kProtocol | kTransient, "ERROR_INTERNET_SECURITY_CHANNEL_ERROR", "TLS failed; check the network."},
    {12163, kOffline, "ERROR_INTERNET_DISCONNECTED", "There is no network; connect the computer and try again."},
    {12170, kProtocol, "ERROR_INTERNET_SEC_CERT_REVOKED", kInBetween}};

inline constexpr CodeText kHttpTexts[] = {
    {429, kTransient, "HTTP_429", "The service has had too many requests; wait a while and try again."},
    {500, kTransient, "HTTP_500", "The service has failed; try again later, and report it if it stays."},
    {503, kTransient, "HTTP_503", "The service is not available at the moment; try again later."}};

class Category final : public std::error_category {
public:
    // `unknown`: the sentence for a code without a text.
    template <std::size_t size>
    constexpr Category(const char* name, const char* unknown, const CodeText (&texts)[size]) noexcept
        : m_name(name), m_unknown(unknown), m_begin(texts), m_end(texts + size) {}

    const CodeText* Find(int code) const noexcept {
        for (const CodeText* each = m_begin; each != m_end; ++each) {
            if (each->code == code) return each;
        }
        return nullptr;
    }
    const char* name() const noexcept override { return m_name; }
    std::string message(int code) const override {
        if (const CodeText* const text = Find(code)) return std::string(text->name) + ": " + text->sentence;
        char number[40];
        std::snprintf(number, sizeof(number), " (code %d, 0x%08x)", code, static_cast<unsigned>(code));
        return m_unknown + std::string(number);
    }

private:
    const char* m_name;
    const char* m_unknown;
    const CodeText* m_begin;
    const CodeText* m_end;
};

inline constexpr char kUnknown[] = "This host does not know the code; report it with its number.";
inline const Category kResults("qsn.result", kUnknown, kResultTexts);
inline const Category kCallbacks("qsn.callback", kUnknown, kCallbackTexts);
inline const Category kNetwork("qsn.network", "No whole reply came; check the network and try again.", kNetworkTexts);
inline const Category kHttp("qsn.http", "The service answered with an HTTP status other than 200; report it.",
                            kHttpTexts);

}  // namespace detail

/*
 * For HRESULTs; for QSN_CALLBACK_RESULTs; for the reasons why there was no whole reply, numbered as WinINet does (see
 * QSN_OUTCOME); for HTTP status codes other than 200. Their messages are "NAME: sentence".
 */
inline const std::error_category& ResultCategory() noexcept { return detail::kResults; }
inline const std::error_category& CallbackCategory() noexcept { return detail::kCallbacks; }
inline const std::error_category& NetworkCategory() noexcept { return detail::kNetwork; }
inline const std::error_category& HttpCategory() noexcept { return detail::kHttp; }

/* The name and the sentence of a code of these categories, or null. The texts live as long as the program. */
inline const CodeText* FindCodeText(const std::error_code& error) noexcept {
    for (const detail::Category* each : {&detail::kResults, &detail::kCallbacks, &detail::kNetwork, &detail::kHttp}) {
        if (error.category() == *each) return each->Find(error.value());
    }
    return nullptr;
}

/* A failed HRESULT as an error; no error for any success. */
inline std::error_code ErrorOf(HRESULT result) noexcept {
    return FAILED(result) ? std::error_code(static_cast<int>(result), ResultCategory()) : std::error_code();
}

/* How a request ended; no error for QSN_CALLBACK_OK. Compare with ==: `error == ErrorOf(code)`. */
inline std::error_code ErrorOf(QSN_CALLBACK_RESULT code) noexcept {
    return code == QSN_CALLBACK_OK ? std::error_code() : std::error_code(code, CallbackCategory());
}

/* The same from the library's detailed account: the most telling of its codes. */
inline std::error_code ErrorOf(const QSN_OUTCOME& outcome) noexcept {
    if (outcome.result == QSN_REQUEST_E_CANCELLED) return std::make_error_code(std::errc::operation_canceled);
    if (outcome.result == QSN_REQUEST_E_OUT_OF_TIME) return std::make_error_code(std::errc::timed_out);
    if (outcome.result == QSN_RETURN_E_NO_TOKEN) return ErrorOf(QSN_CALLBACK_NOT_SIGNED_IN);
    // The registry's own failures are positive.
    if (outcome.result > 0) return {static_cast<int>(outcome.result), std::system_category()};
    const auto told = static_cast<QSN_CALLBACK_RESULT>(outcome.callbackResult);
    if (told == QSN_CALLBACK_OK) return ErrorOf(outcome.result);
    if (told != QSN_CALLBACK_NETWORK_OR_UNKNOWN) return ErrorOf(told);
    if (outcome.systemError != 0) return {static_cast<int>(outcome.systemError), NetworkCategory()};
    const auto status = static_cast<int>(outcome.httpStatus);
    if (status != 0 && status != 200) return {status, HttpCategory()};
    return status == 200 || outcome.result == E_FAIL ? ErrorOf(told) : ErrorOf(outcome.result);
}

namespace detail {

// The conditions that an error meets.
inline unsigned ConditionsOf(const std::error_code& error) noexcept {
    if (const CodeText* const text = FindCodeText(error)) return text->conditions;
    const int code = error.value();
    if (error.category() == HttpCategory()) return code >= 500 ? kTransient : code >= 400 ? kRefused : kProtocol;
    if (error.category() == NetworkCategory()) return kTransient;
    if (error == std::errc::operation_canceled) return Bit(Condition::kCancelled);
    return error == std::errc::timed_out ? kTimedOut : 0;
}

class Conditions final : public std::error_category {
public:
    const char* name() const noexcept override { return "qsn.condition"; }
    std::string message(int condition) const override {
        static constexpr const char* kTexts[] = {"sign-in required", "offline",         "timed out",        "cancelled",
                                                 "refused",          "no valid answer", "worth another try"};
        return condition >= 1 && condition <= 7 ? kTexts[condition - 1] : "unknown";
    }
    bool equivalent(const std::error_code& error, int condition) const noexcept override {
        return (ConditionsOf(error) & Bit(static_cast<Condition>(condition))) != 0;
    }
};

}  // namespace detail

/* Found by the standard library. */
inline std::error_condition make_error_condition(Condition condition) noexcept {
    static const detail::Conditions category;
    return {static_cast<int>(condition), category};
}

}  // namespace qsn

namespace std {

template <>
struct is_error_condition_enum<qsn::Condition> : true_type {};

}  // namespace std
