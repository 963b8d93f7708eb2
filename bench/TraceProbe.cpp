#include "TraceProbe.h"

#include "Utility/Trace.h"

namespace qsn::bench {

void WithTraceLine([[maybe_unused]] int value) { TraceA("value = %d\n", value); }

void WithoutTraceLine(int /*value*/) {}

}  // namespace qsn::bench
