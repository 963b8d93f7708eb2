#pragma once

#include <windows.h>

#include <atomic>

#include "Utility/Outcome.h"

namespace qsn {

// One switch serves the whole process. It is off at first. `ReadDumpSwitch` can turn it on, and nothing turns it off
// again, so that a line never depends on which library object was created last. A line needs no lock and no memory but
// the stack.
extern std::atomic<bool> g_traceEnabled;

// Turns tracing on if the user's "DumpQSN" value under "Software\Quillfern\QSN" is non-zero.
void ReadDumpSwitch();

// Use the macros below: these always format. Text beyond 2040 characters is cut off.
void WriteTraceW(const wchar_t* format, ...);
void WriteTraceA(const char* format, ...) __attribute__((format(ms_printf, 1, 2)));

}  // namespace qsn

// Macros, so that a line that is switched off costs one comparison and its arguments are not even evaluated.
#define TraceW(...) (::qsn::g_traceEnabled ? ::qsn::WriteTraceW(__VA_ARGS__) : static_cast<void>(0))
#define TraceA(...) (::qsn::g_traceEnabled ? ::qsn::WriteTraceA(__VA_ARGS__) : static_cast<void>(0))

namespace qsn {

// Hands `hr` on, with a line in the trace if it is a failure: `unit` and `call` are the names of the source unit and of
// the call as the support staff know them.
inline HRESULT HandOn(HRESULT hr, const char* unit, const char* call, int line = __builtin_LINE()) {
    if (FAILED(hr)) TraceA("FAILED: 0x%08x @ %s:%d %s\n", static_cast<unsigned>(hr), unit, line, call);
    return hr;
}
// Not for a short secret: what is moved leaves a copy behind.
template <class Value>
Outcome<Value> HandOn(Outcome<Value> outcome, const char* unit, const char* call, int line = __builtin_LINE()) {
    HandOn(outcome.result, unit, call, line);
    return outcome;
}

}  // namespace qsn
