#include "Rows.h"
#include "Sections.h"
#include "TraceProbe.h"

namespace qsn::bench {
namespace {

constexpr int kCalls = 100000;

template <void (*probe)(int)>
void CallOften() {
    for (int i = 0; i < kCalls; ++i) probe(i);
}

}  // namespace

void AddTraceRows() {
    AddPair({"trace-off", "100,000 calls of a function with a trace line, switched off",
             "100,000 calls of an empty function", "one comparison with memory", 0},
            {}, [] {
                return Pair<Step>{CallOften<WithTraceLine>, CallOften<WithoutTraceLine>};
            });
}

}  // namespace qsn::bench
