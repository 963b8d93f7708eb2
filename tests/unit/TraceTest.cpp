#include "Utility/Trace.h"

#include <gmock/gmock.h>

#include <thread>

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

// Writes a line on another thread in the middle of the first output, before that is read.
class LineInBetween {
public:
    LineInBetween() : m_handler(AddVectoredExceptionHandler(1, &LineInBetween::Handle)) {}
    LineInBetween(const LineInBetween&) = delete;
    LineInBetween& operator=(const LineInBetween&) = delete;
    ~LineInBetween() { RemoveVectoredExceptionHandler(m_handler); }

private:
    static LONG CALLBACK Handle(EXCEPTION_POINTERS* /*exception*/) {
        if (!s_once.test_and_set()) std::thread([] { TraceA("in between\n"); }).join();
        return EXCEPTION_CONTINUE_SEARCH;
    }

    static inline std::atomic_flag s_once;
    void* m_handler;
};

TEST(Trace, NoThreadOverwritesTheLineOfAnother) {
    const TraceCapture trace;
    const LineInBetween lineInBetween;
    g_traceEnabled = true;
    TraceA("mine\n");
    g_traceEnabled = false;
    EXPECT_EQ(trace.Lines(), (std::vector<std::string>{"in between\n", "mine\n"}));
}

}  // namespace
}  // namespace qsn::test
