#include "support/LeakCheck.h"

#include <gtest/gtest.h>

#include <optional>

#include "support/Owned.h"
#include "support/ProcessState.h"

namespace qsn::test {
namespace {

// How much more a suite may hold at its end than after the last of its tests that made the system load a module, as the
// first request does. The service keeps what it replied, 3 MB in one suite. Connections have a thread and some handles
// each (8 in one suite), and end when they like.
constexpr std::size_t kHeapAllowance = 6 * 1024 * 1024;
constexpr int kHandleAllowance = 16;
constexpr int kThreadAllowance = 4;

int LoadedModules() {
    const Owned<HANDLE, CloseHandle> snapshot(CreateToolhelp32Snapshot(TH32CS_SNAPMODULE, 0));
    MODULEENTRY32W entry = {};
    entry.dwSize = sizeof(entry);
    int count = 0;
    for (BOOL more = Module32FirstW(snapshot.Get(), &entry); more; more = Module32NextW(snapshot.Get(), &entry))
        ++count;
    return count;
}

int RegistryValues() {
    HKEY key = nullptr;
    if (RegOpenKeyExA(HKEY_CURRENT_USER, "Software\\Quillfern\\QSN", 0, KEY_READ, &key) != ERROR_SUCCESS) return 0;
    const Owned<HKEY, RegCloseKey> owned(key);
    DWORD values = 0;
    RegQueryInfoKeyA(key, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, &values, nullptr, nullptr, nullptr,
                     nullptr);
    return static_cast<int>(values);
}

int WindowObjects() {
    const HMODULE user = GetModuleHandleW(L"user32.dll");
    if (!user) return 0;
    const auto count =
        reinterpret_cast<decltype(GetGuiResources)*>(reinterpret_cast<void*>(GetProcAddress(user, "GetGuiResources")));
    if (!count) return 0;
    return static_cast<int>(count(GetCurrentProcess(), GR_GDIOBJECTS) + count(GetCurrentProcess(), GR_USEROBJECTS));
}

bool IsWithin(const Holdings& now, const Holdings& before) {
    return now.heapBytes <= before.heapBytes + kHeapAllowance && now.handles <= before.handles + kHandleAllowance &&
           now.threads <= before.threads + kThreadAllowance && now.registryValues <= before.registryValues &&
           now.windowObjects <= before.windowObjects;
}

// Checks that every suite of a test program leaves nothing behind. ctest runs each in a process of its own.
class LeakListener final : public testing::EmptyTestEventListener {
    void OnTestProgramStart(const testing::UnitTest&) override { m_registryValues = RegistryValues(); }
    void OnTestEnd(const testing::TestInfo&) override {
        const int modules = LoadedModules();
        if (modules <= m_modules) return;
        m_modules = modules;
        m_before = Holdings::Now();
        m_before->registryValues = m_registryValues;
    }
    void OnTestSuiteEnd(const testing::TestSuite& suite) override {
        if (!m_before) return;
        Holdings now;
        // Connections and pool threads end by themselves.
        const bool within = Eventually([&] { return IsWithin(now = Holdings::Now(), *m_before); });
        if (GetEnvironmentVariableW(L"QSN_TEST_HOLDINGS", nullptr, 0) != 0) {
            std::cout << suite.name() << ": " << *m_before << " became " << now << std::endl;
        }
        EXPECT_TRUE(within) << suite.name() << " leaves behind more than it may: " << *m_before << " became " << now;
    }

    int m_registryValues = 0;
    int m_modules = 0;
    std::optional<Holdings> m_before;
};

// Runs before `main`, which belongs to the test framework.
[[maybe_unused]] const bool g_listens = [] {
    testing::UnitTest::GetInstance()->listeners().Append(new LeakListener);
    return true;
}();

}  // namespace

Holdings Holdings::Now() { return {HeapBytes(), HandleCount(), ThreadCount(), RegistryValues(), WindowObjects()}; }

std::ostream& operator<<(std::ostream& stream, const Holdings& holdings) {
    return stream << holdings.heapBytes << " heap bytes, " << holdings.handles << " handles, " << holdings.threads
                  << " threads, " << holdings.registryValues << " registry values, " << holdings.windowObjects
                  << " window objects";
}

}  // namespace qsn::test
