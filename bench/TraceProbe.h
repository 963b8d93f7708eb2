#pragma once

namespace qsn::bench {

// Two functions in a unit of their own, so that a disassembly shows what is left of a trace line that is switched off.
void WithTraceLine(int value);
void WithoutTraceLine(int value);

}  // namespace qsn::bench
