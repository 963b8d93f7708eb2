#pragma once

#include "Utility/Trace.h"
#include "support/TraceCapture.h"

namespace qsn::test {

// The trace, switched on and read for the time of a test.
class SwitchedOnTrace : public TraceCapture {
public:
    SwitchedOnTrace() { g_traceEnabled = true; }
    ~SwitchedOnTrace() { g_traceEnabled = false; }
};

}  // namespace qsn::test
