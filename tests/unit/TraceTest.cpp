#include "Utility/Trace.h"

#include <gmock/gmock.h>

#include "support/TraceCapture.h"

namespace qsn::test {
namespace {

TEST(Trace, OffWritesNothingAndEvaluatesNoArgument) {
    const TraceCapture trace;
    int evaluated = 0;
    TraceA("%d\n", ++evaluated);
    TraceW(L"%d\n", ++evaluated);
    EXPECT_THAT(trace.Lines(), testing::IsEmpty());
    EXPECT_EQ(0, evaluated);
}

TEST(Trace, CutsLongTextAndEndsItWithALineFeed) {
    g_traceEnabled = true;
    for (const std::size_t length : {2039, 2040, 2041, 5000, 5}) {
        const TraceCapture trace;
        TraceA("%s", std::string(length, 'x').c_str());
        TraceW(L"%s", std::wstring(length, L'x').c_str());
        const std::string expected = length < 2040 ? std::string(length, 'x') : std::string(2040, 'x') + '\n';
        EXPECT_THAT(trace.Lines(), testing::ElementsAre(expected, expected)) << length;
    }
    g_traceEnabled = false;
}

}  // namespace
}  // namespace qsn::test
