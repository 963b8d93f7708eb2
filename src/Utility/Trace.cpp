#include "Utility/Trace.h"

#include <cstdarg>
#include <cstddef>
#include <cstdio>

#include "Utility/Win32Owners.h"

namespace qsn {
namespace {

constexpr std::size_t kBufferSize = 2048;
constexpr std::size_t kPrefixLength = 6;
constexpr std::size_t kTextSize = kBufferSize - kPrefixLength - 1;

wchar_t g_wideBuffer[kBufferSize] = L"[QSN] ";
char g_narrowBuffer[kBufferSize] = "[QSN] ";

// Ends a line that was cut off with a line feed, in the place of its terminator; lies unseen behind any shorter line.
template <class Char>
void GuardEnd(Char (&buffer)[kBufferSize]) {
    buffer[kBufferSize - 2] = '\n';
    buffer[kBufferSize - 1] = '\0';
}

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
    va_list arguments;
    va_start(arguments, format);
    _vsnwprintf_s(g_wideBuffer + kPrefixLength, kTextSize, _TRUNCATE, format, arguments);
    va_end(arguments);
    GuardEnd(g_wideBuffer);
    OutputDebugStringW(g_wideBuffer);
}

void WriteTraceA(const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    _vsnprintf_s(g_narrowBuffer + kPrefixLength, kTextSize, _TRUNCATE, format, arguments);
    va_end(arguments);
    GuardEnd(g_narrowBuffer);
    OutputDebugStringA(g_narrowBuffer);
}

}  // namespace qsn
