#pragma once

namespace qsn::service {

// Ctrl+C, Ctrl+Break, the closing of the console and, if asked for, the end of standard input. One per process.
class ExitRequest {
public:
    explicit ExitRequest(bool alsoAtEndOfInput);
    // Lets the console go on with closing, which kills the process.
    ~ExitRequest();
    ExitRequest(const ExitRequest&) = delete;
    ExitRequest& operator=(const ExitRequest&) = delete;

    void Wait() const;
};

}  // namespace qsn::service
