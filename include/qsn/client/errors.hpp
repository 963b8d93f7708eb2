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

// Only those who run the service know what most of its results mean.
inline constexpr CodeText kCallbackTexts[] = {
    {0, "QSN_CALLBACK_OK", "It succeeded, and there is nothing to do."},
    {1, "QSN_CALLBACK_NETWORK_OR_UNKNOWN", "The service could not be reached; check the network and try again."},
    {2, "QSN_CALLBACK_SERVER_RESULT_1", "The service refused the access token (result 1); let the user sign in again."},
    {3, "QSN_CALLBACK_NOT_SIGNED_IN", "Nobody is signed in, so nothing was sent; let the user sign in first."},
    {4, "QSN_CALLBACK_SERVER_RESULT_2", "The service refused the request (result 2); ask those who run it why."},
    {5, "QSN_CALLBACK_REPLY_INCOMPLETE", "The service's reply was incomplete; try again, and report it if it stays."},
    {8, "QSN_CALLBACK_REPLY_NOT_AUTHENTIC",
     "The reply was not the service's own; check that no other program alters the connection, and try again."},
    {9, "QSN_CALLBACK_SERVER_RESULT_3", "The service refused the request (result 3); ask those who run it why."},
    {10, "QSN_CALLBACK_SERVER_RESULT_6", "The service declined the request (result 6); tell the user its message."},
    {11, "QSN_CALLBACK_REQUEST_NOT_SIGNED", "The request could not be signed, so nothing was sent; try again."},
    {101, "QSN_CALLBACK_SERVER_RESULT_101", "The session was ended (result 101); let the user sign in again."},
    {102, "QSN_CALLBACK_SERVER_RESULT_102", "The service refused the request (result 102); ask those who run it why."},
    {103, "QSN_CALLBACK_SERVER_RESULT_103", "The service refused the request (result 103); ask those who run it why."},
    {104, "QSN_CALLBACK_SERVER_RESULT_104", "The service refused the request (result 104); ask those who run it why."},
    {105, "QSN_CALLBACK_SERVER_RESULT_105", "The service refused the request (result 105); ask those who run it why."},
    {106, "QSN_CALLBACK_SERVER_RESULT_106", "The service refused the request (result 106); ask those who run it why."},
    {107, "QSN_CALLBACK_SERVER_RESULT_107", "The session was ended (result 107); let the user sign in again."},
};

class Category final : public std::error_category {
public:
    template <std::size_t size>
    Category(const char* name, const CodeText (&texts)[size]) noexcept
        : m_name(name), m_begin(texts), m_end(texts + size) {}

    const CodeText* Find(int code) const noexcept {
        for (const CodeText* each = m_begin; each != m_end; ++each) {
            if (each->code == code) return each;
        }
        return nullptr;
    }
    const char* name() const noexcept override { return m_name; }
    std::string message(int code) const override {
        if (const CodeText* const text = Find(code)) return std::string(text->name) + ": " + text->sentence;
        char number[16];
        std::snprintf(number, sizeof(number), "0x%08x", static_cast<unsigned>(code));
        return std::string("Code ") + number + " is not known to this host; report it with its number.";
    }

private:
    const char* m_name;
    const CodeText* m_begin;
    const CodeText* m_end;
};

inline const Category& Results() noexcept {
    static const Category category("qsn.result", kResultTexts);
    return category;
}
inline const Category& Callbacks() noexcept {
    static const Category category("qsn.callback", kCallbackTexts);
    return category;
}

}  // namespace detail

/* For the HRESULTs that methods return. Its messages are "NAME: sentence". */
inline const std::error_category& ResultCategory() noexcept { return detail::Results(); }

/* For the QSN_CALLBACK_RESULTs that requests end with. Its messages are "NAME: sentence". */
inline const std::error_category& CallbackCategory() noexcept { return detail::Callbacks(); }

/* The name and the sentence of a code of either category, or null. The texts live as long as the program. */
inline const CodeText* FindCodeText(const std::error_code& error) noexcept {
    for (const detail::Category* each : {&detail::Results(), &detail::Callbacks()}) {
        if (error.category() == *each) return each->Find(error.value());
    }
    return nullptr;
}

/* A failed HRESULT as an error; no error for any success. */
inline std::error_code ErrorOf(HRESULT result) noexcept {
    return FAILED(result) ? std::error_code(static_cast<int>(result), ResultCategory()) : std::error_code();
}

/* How a request ended, as an error; no error for QSN_CALLBACK_OK. Compare with ==: `error == ErrorOf(code)`. */
inline std::error_code ErrorOf(QSN_CALLBACK_RESULT code) noexcept {
    return code == QSN_CALLBACK_OK ? std::error_code() : std::error_code(code, CallbackCategory());
}

}  // namespace qsn

#endif /* QSN_CLIENT_ERRORS_HPP */
