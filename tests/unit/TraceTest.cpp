#include "Utility/Trace.h"

#include <gmock/gmock.h>

#include "support/TraceCapture.h"

namespace qsn::test {
namespace {

TEST(Trace, EvaluatesNothingWhileOffAndEndsALongLineThatItCutWithALineFeed) {
    const TraceCapture trace;
    int evaluated = 0;
    TraceA("%d\n", ++evaluated);
    TraceW(L"%d\n", ++evaluated);
    EXPECT_EQ(0, evaluated);
    g_traceEnabled = true;
    std::vector<std::string> expected;
    for (const std::size_t length : {2039, 2040, 2041, 5}) {
        TraceA("%s", std::string(length, 'x').c_str());
        TraceW(L"%s", std::wstring(length, L'x').c_str());
        expected.insert(expected.end(), 2, length < 2040 ? std::string(length, 'x') : std::string(2040, 'x') + '\n');
    }
    g_traceEnabled = false;
    EXPECT_EQ(expected, trace.Lines());
}

}  // namespace
}  // namespace qsn::test
