#include "Utility/Trace.h"

#include <gmock/gmock.h>

#include <cstdint>
#include <string>
#include <vector>

#include "SwitchedOnTrace.h"
#include "Utility/Win32Owners.h"

namespace qsn::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

TEST(Trace, OffWritesNothingAndEvaluatesNoArgument) {
    const TraceCapture trace;
    int evaluated = 0;
    TraceA("%d\n", ++evaluated);
    TraceW(L"%d\n", ++evaluated);
    EXPECT_THAT(trace.Lines(), IsEmpty());
    EXPECT_EQ(0, evaluated);
}

TEST(Trace, WritesBothChannels) {
    const SwitchedOnTrace trace;
    TraceA("Sign in %s %d\n", "as", 7);
    TraceW(L"Sign out %s %d\n", L"as", 8);
    TraceA("short\n");
    EXPECT_THAT(trace.Lines(), ElementsAre("Sign in as 7\n", "Sign out as 8\n", "short\n"));
}

TEST(Trace, CutsLongTextAndEndsItWithALineFeed) {
    for (const std::size_t length : {2039, 2040, 2041, 5000}) {
        const SwitchedOnTrace trace;
        TraceA("%s", std::string(length, 'x').c_str());
        TraceW(L"%s", std::wstring(length, L'x').c_str());
        const std::string expected = length < 2040 ? std::string(length, 'x') : std::string(2040, 'x') + '\n';
        EXPECT_THAT(trace.Lines(), ElementsAre(expected, expected)) << length;
    }
}

TEST(Trace, FailureLine) {
    const SwitchedOnTrace trace;
    TraceFailedAt(E_FAIL, "QSNThreadContext", 12, "DecodeJWT(token, &strDecryptResult)");
    EXPECT_THAT(trace.Lines(),
                ElementsAre("FAILED: 0x80004005 @ QSNThreadContext:12 DecodeJWT(token, &strDecryptResult)\n"));
}

class DumpSwitch : public testing::Test {
protected:
    static constexpr const char* kKey = "Software\\Quillfern\\QSN";

    DumpSwitch() { RegCreateKeyA(HKEY_CURRENT_USER, kKey, m_key.Receive()); }
    ~DumpSwitch() override {
        g_traceEnabled = false;
        RegDeleteValueA(m_key.Get(), "DumpQSN");
        m_key.Reset();
        RegDeleteKeyA(HKEY_CURRENT_USER, kKey);
    }

    void Write(DWORD type, const std::vector<std::uint8_t>& value) {
        RegSetValueExA(m_key.Get(), "DumpQSN", 0, type, value.data(), static_cast<DWORD>(value.size()));
    }

private:
    UniqueRegistryKey m_key;
};

TEST_F(DumpSwitch, IsOnForAnyNonZeroValueOfUpToFourBytes) {
    const struct {
        DWORD type;
        std::vector<std::uint8_t> value;
        bool on;
    } cases[] = {
        {REG_DWORD, {0, 0, 0, 0}, false},
        {REG_DWORD, {1, 0, 0, 0}, true},
        {REG_DWORD, {0, 0, 0, 0x80}, true},
        {REG_BINARY, {2}, true},
        {REG_QWORD, {1, 0, 0, 0, 0, 0, 0, 0}, false},
    };
    for (const auto& c : cases) {
        g_traceEnabled = false;
        Write(c.type, c.value);
        ReadDumpSwitch();
        EXPECT_EQ(c.on, g_traceEnabled) << c.type << " of " << c.value.size();
    }
}

TEST_F(DumpSwitch, IsNeverTurnedOffAgain) {
    ReadDumpSwitch();
    EXPECT_FALSE(g_traceEnabled) << "without a value";
    g_traceEnabled = true;
    Write(REG_DWORD, {0, 0, 0, 0});
    ReadDumpSwitch();
    EXPECT_TRUE(g_traceEnabled);
}

}  // namespace
}  // namespace qsn::test
