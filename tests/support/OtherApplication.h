#pragma once

#include <gtest/gtest.h>
#include <windows.h>

#include <iostream>
#include <string>

#include "support/Owned.h"
#include "support/ProcessState.h"

namespace qsn::test {

// Another application of the user: this program again, in a disabled test of it that takes commands, a line each, and
// answers each with a line. The destructor simply ends it.
class OtherApplication {
public:
    explicit OtherApplication(const std::wstring& test) {
        SECURITY_ATTRIBUTES inherited = {sizeof(inherited), nullptr, TRUE};
        HANDLE childInput = nullptr;
        HANDLE childOutput = nullptr;
        CreatePipe(&childInput, &m_commands, &inherited, 0);
        CreatePipe(&m_answers, &childOutput, &inherited, 0);
        SetHandleInformation(m_commands, HANDLE_FLAG_INHERIT, 0);
        SetHandleInformation(m_answers, HANDLE_FLAG_INHERIT, 0);
        STARTUPINFOW startup = {};
        startup.cb = sizeof(startup);
        startup.dwFlags = STARTF_USESTDHANDLES;
        startup.hStdInput = childInput;
        startup.hStdOutput = childOutput;
        startup.hStdError = GetStdHandle(STD_ERROR_HANDLE);
        wchar_t path[MAX_PATH];
        GetModuleFileNameW(nullptr, path, MAX_PATH);
        std::wstring command =
            std::wstring(L"\"") + path + L"\" --gtest_also_run_disabled_tests --gtest_filter=" + test;
        if (CreateProcessW(nullptr, command.data(), nullptr, nullptr, TRUE, DETACHED_PROCESS, nullptr, nullptr,
                           &startup, &m_process)) {
            CloseHandle(m_process.hThread);
        }
        CloseHandle(childInput);
        CloseHandle(childOutput);
    }
    OtherApplication(const OtherApplication&) = delete;
    OtherApplication& operator=(const OtherApplication&) = delete;
    ~OtherApplication() {
        Kill();
        for (HANDLE handle : {m_commands, m_answers, m_process.hProcess}) {
            if (handle) CloseHandle(handle);
        }
    }

    void Send(const std::string& command) {
        const std::string line = command + "\n";
        DWORD written = 0;
        WriteFile(m_commands, line.data(), static_cast<DWORD>(line.size()), &written, nullptr);
    }
    // The next answer; "(none)" if the application is gone or silent.
    std::string Answer() {
        for (std::string line = Line(); line != "(none)"; line = Line()) {
            if (line.starts_with(kMark)) return line.substr(1);
        }
        return "(none)";
    }
    std::string Do(const std::string& command) {
        Send(command);
        return Answer();
    }
    void Kill() {
        if (!m_process.hProcess) return;
        TerminateProcess(m_process.hProcess, 1);
        WaitForSingleObject(m_process.hProcess, 10000);
    }

    // The application's side. Its first character tells an answer from the test framework's own output.
    static void Reply(const std::string& answer) { std::cout << kMark << answer << std::endl; }
    static bool NextCommand(std::string* command) { return static_cast<bool>(std::getline(std::cin, *command)); }

private:
    static constexpr char kMark = '#';

    std::string Line() {
        std::string line;
        for (;;) {
            DWORD available = 0;
            const bool arrived = Eventually([&] {
                const bool open = PeekNamedPipe(m_answers, nullptr, 0, nullptr, &available, nullptr);
                return !open || available != 0;
            });
            char c = 0;
            DWORD read = 0;
            if (!arrived || !ReadFile(m_answers, &c, 1, &read, nullptr) || read == 0) return "(none)";
            if (c == '\n') return line;
            if (c != '\r') line += c;
        }
    }

    HANDLE m_commands = nullptr;
    HANDLE m_answers = nullptr;
    PROCESS_INFORMATION m_process = {};
};

}  // namespace qsn::test
