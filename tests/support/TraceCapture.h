#pragma once

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

    // Each output as it was made, with its line feed, but without the prefix that all must have.
    std::vector<std::string> Lines() const {
        const std::lock_guard lock(s_lock);
        return m_lines;
    }

    // Whether the output `line`, in the form of `Lines`, has been made or is made within `timeout`.
    bool WaitForLine(std::string_view line, std::chrono::milliseconds timeout) const {
        std::unique_lock lock(s_lock);
        return s_arrived.wait_for(lock, timeout, [&] { return std::ranges::find(m_lines, line) != m_lines.end(); });
    }

private:
    static constexpr DWORD kNarrowOutput = 0x40010006;
    static constexpr DWORD kWideOutput = 0x4001000A;
    static constexpr std::string_view kPrefix = "[QSN] ";

    static LONG CALLBACK Handle(EXCEPTION_POINTERS* exception) {
        const EXCEPTION_RECORD& record = *exception->ExceptionRecord;
        if (record.ExceptionCode == kNarrowOutput) {
            Add(reinterpret_cast<const char*>(record.ExceptionInformation[1]));
        } else if (record.ExceptionCode == kWideOutput) {
            const std::wstring_view text = reinterpret_cast<const wchar_t*>(record.ExceptionInformation[1]);
            Add({text.begin(), text.end()});
        } else {
            return EXCEPTION_CONTINUE_SEARCH;
        }
        return EXCEPTION_CONTINUE_EXECUTION;
    }

    static void Add(const std::string& output) {
        const bool prefixed = output.starts_with(kPrefix);
        const std::lock_guard lock(s_lock);
        if (s_current) s_current->m_lines.push_back(prefixed ? output.substr(kPrefix.size()) : "no prefix: " + output);
        s_arrived.notify_all();
    }

    static inline std::mutex s_lock;
    static inline std::condition_variable s_arrived;
    static inline TraceCapture* s_current = nullptr;

    std::vector<std::string> m_lines;
    void* m_handler;
};

}  // namespace qsn::test
