/* What a client is opened with. Part of <qsn/client.hpp>. */
#pragma once

#include <qsn/client/records.hpp>

#include <chrono>
#include <exception>
#include <functional>

namespace qsn {

/* What a client reports without being asked. Any of them may be empty. Called one at a time, as completions are. */
struct Notifications {
    std::function<void(const std::string& message)> serviceMessage;  // for the user to read
    /* From other applications of the suite, if Options::singleSignOn is on. */
    std::function<void(Result<SignInState>)> signedInElsewhere;  // and this client with them
    std::function<void(Result<void>)> signedOutElsewhere;        // and this client with them
    std::function<void(const std::string& token)> memberTokenSet;
    std::function<void()> memberTokenCleared;
    std::function<void(const std::string& token)> refreshTokenSet;
    std::function<void()> refreshTokenCleared;
    /* The outcome of each check that Options::tokenCheck leads to. */
    std::function<void(Result<void>)> tokenChecked;
    /* A handler, the log or the executor threw this; the client goes on. May be called on any thread. */
    std::function<void(std::exception_ptr)> handlerFailed;
};

/* One line of the log, and how much of it is wanted. ErrorOf tells what a record's outcome means. */
using LogRecord = QSN_LOG_RECORD;
using LogLevel = QSN_LOG_LEVEL;

/* Runs each function that it is given once, where and when the host likes, in the order in which they came. */
using Executor = std::function<void(std::function<void()>)>;

/* From the start of an operation to its end; 0: none. */
using TimeLimit = std::chrono::milliseconds;

enum class Platform : std::uint32_t { kNone = 0, k64Bit = 1, k32Bit = 2 };

struct Options {
    std::wstring productSid;
    std::wstring libraryPath = L"qsn.dll";  // see Library::Load
    std::wstring logFolder;                 // of the usage log's Orb.dll; empty: its usual place
    /* These can be changed later. */
    std::string language, extendData;
    Platform platform = Platform::kNone;
    bool singleSignOn = false, tokenCheck = false, testbed = false;
    Notifications notifications;
    /*
     * Where handlers run; empty: on the library's worker thread. A GUI host passes one that posts to its own thread. It
     * must not wait for the function to end. A function that it drops is never called. Functions may run after the
     * client is gone: completions still come then, notifications do not.
     */
    Executor executor;
    /* Called on any thread, several at a time. It must be quick and must not call the client. */
    std::function<void(const LogRecord&)> log;
    LogLevel logLevel = QSN_LOG_INFO;
};

}  // namespace qsn
