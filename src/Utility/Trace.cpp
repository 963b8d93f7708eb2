#include "Utility/Trace.h"

#include <algorithm>
#include <cstdarg>
#include <cstddef>
#include <cstdio>

#include "Utility/Win32Owners.h"

namespace qsn {
namespace {

constexpr std::size_t kBufferSize = 2048;
constexpr std::size_t kPrefixLength = 6;
constexpr std::size_t kTextSize = kBufferSize - kPrefixLength - 1;

// A line that is being written. It belongs to the call and not to the process, so no thread overwrites another's.
template <class Char>
class Line {
public:
    Line() noexcept {
        static constexpr char kPrefix[] = "[QSN] ";
        static_assert(sizeof(kPrefix) == kPrefixLength + 1);
        std::copy_n(kPrefix, kPrefixLength, m_buffer);
    }

    Char* Text() noexcept { return m_buffer + kPrefixLength; }
    // Ends a line that was cut off with a line feed, in place of its terminator. Behind a shorter line it is not seen.
    const Char* Finish() noexcept {
        m_buffer[kBufferSize - 2] = '\n';
        m_buffer[kBufferSize - 1] = '\0';
        return m_buffer;
    }

private:
    Char m_buffer[kBufferSize];
};

}  // namespace

std::atomic<bool> g_traceEnabled = false;

void ReadDumpSwitch() {
    UniqueRegistryKey key;
    if (RegOpenKeyExA(HKEY_CURRENT_USER, "Software\\Quillfern\\QSN", 0, KEY_READ, key.Receive()) != ERROR_SUCCESS)
        return;
    DWORD value = 0;
    DWORD size = sizeof(value);
    const LSTATUS status =
        RegQueryValueExA(key.Get(), "DumpQSN", nullptr, nullptr, reinterpret_cast<BYTE*>(&value), &size);
    if (status == ERROR_SUCCESS && value != 0) g_traceEnabled = true;
}

void WriteTraceW(const wchar_t* format, ...) {
    Line<wchar_t> line;
    va_list arguments;
    va_start(arguments, format);
    _vsnwprintf_s(line.Text(), kTextSize, _TRUNCATE, format, arguments);
    va_end(arguments);
    OutputDebugStringW(line.Finish());
}

void WriteTraceA(const char* format, ...) {
    Line<char> line;
    va_list arguments;
    va_start(arguments, format);
    _vsnprintf_s(line.Text(), kTextSize, _TRUNCATE, format, arguments);
    va_end(arguments);
    OutputDebugStringA(line.Finish());
}

}  // namespace qsn
