#pragma once

#include <gtest/gtest.h>
#include <windows.h>

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

namespace qsn::test {

// Reads this process's debugger output from construction to destruction. One at a time.
class TraceCapture {
public:
    TraceCapture() {
        const std::lock_guard lock(s_lock);
        s_current = this;
        m_handler = AddVectoredExceptionHandler(1, &TraceCapture::Handle);
    }
    TraceCapture(const TraceCapture&) = delete;
    TraceCapture& operator=(const TraceCapture&) = delete;
    ~TraceCapture() {
        RemoveVectoredExceptionHandler(m_handler);
        const std::lock_guard lock(s_lock);
        s_current = nullptr;
    }

    // Each output as it was made, line feed included, without the prefix; a test fails where the prefix was missing.
    std::vector<std::string> Lines() const {
        const std::lock_guard lock(s_lock);
        std::vector<std::string> lines;
        for (const std::string& output : m_outputs) lines.push_back(WithoutPrefix(output));
        return lines;
    }

    // Whether an output `line`, given like those of `Lines`, has been made or is made within `timeout`.
    bool WaitForLine(std::string_view line, std::chrono::milliseconds timeout) const {
        const std::string output = kPrefix + std::string(line);
        std::unique_lock lock(s_lock);
        return s_arrived.wait_for(lock, timeout,
                                  [&] { return std::ranges::find(m_outputs, output) != m_outputs.end(); });
    }

private:
    static constexpr DWORD kNarrowOutput = 0x40010006;
    static constexpr DWORD kWideOutput = 0x4001000A;
    static constexpr const char* kPrefix = "[QSN] ";

    static std::string WithoutPrefix(const std::string& output) {
        EXPECT_TRUE(output.starts_with(kPrefix)) << output;
        return output.starts_with(kPrefix) ? output.substr(std::string_view(kPrefix).size()) : output;
    }

    static std::string Narrow(std::wstring_view text) {
        std::string narrow;
        for (const wchar_t c : text) narrow += c < 0x80 ? static_cast<char>(c) : '?';
        return narrow;
    }

    static LONG CALLBACK Handle(EXCEPTION_POINTERS* exception) {
        const EXCEPTION_RECORD& record = *exception->ExceptionRecord;
        if (record.ExceptionCode == kNarrowOutput)
            Add(reinterpret_cast<const char*>(record.ExceptionInformation[1]));
        else if (record.ExceptionCode == kWideOutput)
            Add(Narrow(reinterpret_cast<const wchar_t*>(record.ExceptionInformation[1])));
        else
            return EXCEPTION_CONTINUE_SEARCH;
        return EXCEPTION_CONTINUE_EXECUTION;
    }

    static void Add(std::string output) {
        const std::lock_guard lock(s_lock);
        if (s_current) s_current->m_outputs.push_back(std::move(output));
        s_arrived.notify_all();
    }

    static inline std::mutex s_lock;
    static inline std::condition_variable s_arrived;
    static inline TraceCapture* s_current = nullptr;

    std::vector<std::string> m_outputs;
    void* m_handler;
};

}  // namespace qsn::test
