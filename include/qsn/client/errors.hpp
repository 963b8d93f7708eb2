/* What went wrong, as std::error_code: a name and a sentence for each code. Part of <qsn/client.hpp>. */
#ifndef QSN_CLIENT_ERRORS_HPP
#define QSN_CLIENT_ERRORS_HPP

#include <qsn/qsn.h>

#include <cstdio>
#include <string>
#include <system_error>

namespace qsn {

struct CodeText {
    int code;
    const char* name;
    const char* sentence;  // the cause and what to do about it
};

namespace detail {

constexpr int Signed(unsigned long code) { return static_cast<int>(code); }

inline constexpr CodeText kResultTexts[] = {
    {0, "S_OK", "It succeeded, and there is nothing to do."},
    {Signed(0x80004001), "E_NOTIMPL", "This library does not know the item; ship the qsn.dll that goes with the host."},
    {Signed(0x80004002), "E_NOINTERFACE",
     "The object has no such interface; ship the qsn.dll that goes with the host."},
    {Signed(0x80004003), "E_POINTER", "A pointer that is needed was null; correct the call."},
    {Signed(0x80004005), "E_FAIL", "The library could not do it and gave no reason; try again, and look at its trace."},
    {Signed(0x8000FFFF), "E_UNEXPECTED",
     "Windows or the session was not in the state that this needs; start it again."},
    {Signed(0x8007000E), "E_OUTOFMEMORY", "Memory or threads have run out; free some and try again."},
    {Signed(0x80070057), "E_INVALIDARG", "An argument is missing, too long or not known; correct the call."},
    {Signed(0x86210002), "QSN_RETURN_E_NO_TOKEN", "The session holds no access token; let the user sign in."},
    {Signed(0x86210004), "QSN_RETURN_E_NOT_INITIALIZED", "The client is not open; open it before using it."},
    {Signed(0x86210005), "QSN_RETURN_E_ALREADY_INITIALIZED", "The library object is in use already; make another one."},
    {Signed(0x86210006), "QSN_RETURN_E_TIMEOUT", "The library was busy for over 120 seconds; try again later."},
};

// What a service result stands for is the service's business, but some of them it has told hosts for good.
inline constexpr CodeText kCallbackTexts[] = {
    {0, "QSN_CALLBACK_OK", "It succeeded, and there is nothing to do."},
    {1, "QSN_CALLBACK_NETWORK_OR_UNKNOWN", "The service could not be reached; check the network and try again."},
    {2, "QSN_CALLBACK_SERVER_RESULT_1", "The service refused the access token (result 1); let the user sign in again."},
    {3, "QSN_CALLBACK_NOT_SIGNED_IN", "Nobody is signed in, so nothing was sent; let the user sign in first."},
    {4, "QSN_CALLBACK_SERVER_RESULT_2", "The service refused the request (result 2); report it to the service."},
    {5, "QSN_CALLBACK_REPLY_INCOMPLETE", "The service's reply was incomplete; try again, and report it if it stays."},
    {8, "QSN_CALLBACK_REPLY_NOT_AUTHENTIC",
     "The reply was not the service's own; check that no other program alters the connection, and try again."},
    {9, "QSN_CALLBACK_SERVER_RESULT_3", "The service refused the request (result 3); report it to the service."},
    {10, "QSN_CALLBACK_SERVER_RESULT_6", "The service declined the request (result 6); tell the user its message."},
    {11, "QSN_CALLBACK_REQUEST_NOT_SIGNED", "The request could not be signed, so nothing was sent; try again."},
    {101, "QSN_CALLBACK_SERVER_RESULT_101", "The session was ended (result 101); let the user sign in again."},
    {102, "QSN_CALLBACK_SERVER_RESULT_102", "The service refused the request (result 102); report it to the service."},
    {103, "QSN_CALLBACK_SERVER_RESULT_103", "The service refused the request (result 103); report it to the service."},
    {104, "QSN_CALLBACK_SERVER_RESULT_104", "The service refused the request (result 104); report it to the service."},
    {105, "QSN_CALLBACK_SERVER_RESULT_105", "The service refused the request (result 105); report it to the service."},
    {106, "QSN_CALLBACK_SERVER_RESULT_106", "The service refused the request (result 106); report it to the service."},
    {107, "QSN_CALLBACK_SERVER_RESULT_107", "The session was ended (result 107); let the user sign in again."},
};

template <std::size_t size>
const CodeText* Find(const CodeText (&texts)[size], int code) noexcept {
    for (const CodeText& each : texts) {
        if (each.code == code) return &each;
    }
    return nullptr;
}

inline std::string Message(const CodeText* text, int code) {
    if (text) return std::string(text->name) + ": " + text->sentence;
    char unknown[80];
    std::snprintf(unknown, sizeof(unknown), "Code 0x%08x is not known to this host; report it with its number.",
                  static_cast<unsigned>(code));
    return unknown;
}

class ResultCategoryType final : public std::error_category {
public:
    const char* name() const noexcept override { return "qsn.result"; }  // NOLINT: the base class's name
    std::string message(int code) const override {                       // NOLINT: the base class's name
        return Message(Find(kResultTexts, code), code);
    }
};

class CallbackCategoryType final : public std::error_category {
public:
    const char* name() const noexcept override { return "qsn.callback"; }  // NOLINT: the base class's name
    std::string message(int code) const override {                         // NOLINT: the base class's name
        return Message(Find(kCallbackTexts, code), code);
    }
};

}  // namespace detail

/* Of the HRESULTs that methods return. Its messages are "NAME: sentence". */
inline const std::error_category& ResultCategory() noexcept {
    static const detail::ResultCategoryType category;
    return category;
}

/* Of the QSN_CALLBACK_RESULTs that requests end with. Its messages are "NAME: sentence". */
inline const std::error_category& CallbackCategory() noexcept {
    static const detail::CallbackCategoryType category;
    return category;
}

/* The name and the sentence of a code of either category, or null. The texts live as long as the program. */
inline const CodeText* FindCodeText(const std::error_code& error) noexcept {
    if (error.category() == ResultCategory()) return detail::Find(detail::kResultTexts, error.value());
    if (error.category() == CallbackCategory()) return detail::Find(detail::kCallbackTexts, error.value());
    return nullptr;
}

/* A failed HRESULT as an error; none for a success, whichever. */
inline std::error_code ErrorOf(HRESULT result) noexcept {
    return FAILED(result) ? std::error_code(static_cast<int>(result), ResultCategory()) : std::error_code();
}

/* How a request ended as an error; none for QSN_CALLBACK_OK. Compares with == to itself: `error == ErrorOf(code)`. */
inline std::error_code ErrorOf(QSN_CALLBACK_RESULT code) noexcept {
    return code == QSN_CALLBACK_OK ? std::error_code() : std::error_code(code, CallbackCategory());
}

}  // namespace qsn

#endif /* QSN_CLIENT_ERRORS_HPP */
