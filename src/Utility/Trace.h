#pragma once

#include <windows.h>

#include <atomic>

namespace qsn {

// One switch serves the whole process. It is off at process start; `ReadDumpSwitch` can turn it on and nothing turns it
// off again, so that a line never depends on which library object happened to be created last. A line needs no lock and
// no memory but the stack.
extern std::atomic<bool> g_traceEnabled;

// Turns tracing on if the user's "DumpQSN" value under "Software\Quillfern\QSN" is non-zero.
void ReadDumpSwitch();

// Use the macros below; these format unconditionally. Text beyond 2040 characters is cut off.
void WriteTraceW(const wchar_t* format, ...);
void WriteTraceA(const char* format, ...) __attribute__((format(ms_printf, 1, 2)));

}  // namespace qsn

// Macros, so that a line that is switched off costs one comparison and its arguments are not even evaluated.
#define TraceW(...) (::qsn::g_traceEnabled ? ::qsn::WriteTraceW(__VA_ARGS__) : static_cast<void>(0))
#define TraceA(...) (::qsn::g_traceEnabled ? ::qsn::WriteTraceA(__VA_ARGS__) : static_cast<void>(0))

// The line that every caller of a failed routine writes before it passes the code on; `unit` and `call` are narrow
// literals, the names of the source unit and of the failed call as the support staff know them.
#define TraceFailedAt(hr, unit, line, call) \
    TraceA("FAILED: 0x%08x @ %s:%d " call "\n", static_cast<unsigned>(hr), unit, static_cast<int>(line))
#define TraceFailed(hr, unit, call) TraceFailedAt(hr, unit, __LINE__, call)
