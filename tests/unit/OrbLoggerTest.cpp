#include "Utility/OrbLogger.h"

#include <gtest/gtest.h>

#include <string>

#include "support/Fakes.h"

namespace qsn::test {
namespace {

class OrbLoggerTest : public testing::Test {
protected:
    OrbLoggerTest() {
        wchar_t temp[MAX_PATH] = {};
        GetTempPathW(MAX_PATH, temp);
        m_folder = temp + std::wstring(L"OrbLoggerTest");
        CreateDirectoryW(m_folder.c_str(), nullptr);
    }
    ~OrbLoggerTest() override {
        DeleteFileW(OtherPath().c_str());
        RemoveDirectoryW(m_folder.c_str());
    }

    std::wstring OtherPath() const { return m_folder + L"\\Orb.dll"; }
    void PutInFolder(const std::wstring& module) { CopyFileW(module.c_str(), OtherPath().c_str(), FALSE); }
    void PutBrokenModuleInFolder() {
        const HANDLE file = CreateFileW(OtherPath().c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, 0, nullptr);
        CloseHandle(file);
    }

    std::wstring m_folder;
    FakeOrb m_orb;
};

TEST_F(OrbLoggerTest, PassesCallsOnAndTheirResultsBack) {
    OrbLogger logger;
    m_orb.Reset(7);
    EXPECT_EQ(7, logger.Init(L"HWID=A&sid=B"));
    EXPECT_EQ(7, logger.LogA("QSN Init \xC3\xA4"));
    EXPECT_EQ(7, logger.Log(L"SignOut"));
    EXPECT_EQ(7, logger.Uninit(0));

    const std::wstring record = m_orb.Record();
    const std::wstring rest = L" HWID=A&sid=B\nLog QSN1.0 QSN Init \u00E4\nLog QSN1.0 SignOut\nUninit 0\n";
    ASSERT_EQ(5 + 36 + rest.size(), record.size()) << "a GUID has 36 characters";
    EXPECT_EQ(L"Init ", record.substr(0, 5));
    EXPECT_EQ(rest, record.substr(5 + 36));
}

TEST_F(OrbLoggerTest, EndsAnOpenLogOnDestruction) {
    { const OrbLogger neverInitialised; }
    EXPECT_EQ(L"", m_orb.Record());
    {
        OrbLogger ended;
        ended.Init(L"");
        ended.Uninit(0);
    }
    EXPECT_TRUE(m_orb.Record().ends_with(L"Uninit 0\n"));
    { OrbLogger().Init(L""); }
    EXPECT_TRUE(m_orb.Record().ends_with(L"Uninit 1\n"));
}

TEST_F(OrbLoggerTest, RefusesANullMessage) {
    OrbLogger logger;
    EXPECT_EQ(OrbLogger::kNoMessage, logger.Log(nullptr));
    EXPECT_EQ(OrbLogger::kNoMessage, logger.LogA(nullptr));
    EXPECT_EQ(L"", m_orb.Record());
}

TEST_F(OrbLoggerTest, KeepsItsModuleWhenTheFolderHasNone) {
    OrbLogger logger;
    EXPECT_EQ(OrbLogger::kNoFolder, logger.Load(nullptr));
    EXPECT_EQ(E_INVALIDARG, logger.Load(m_folder.c_str()));
    EXPECT_EQ(0, logger.Log(L"still here"));
    EXPECT_EQ(L"Log QSN1.0 still here\n", m_orb.Record());
}

TEST_F(OrbLoggerTest, ExchangesItsModuleForTheOneInTheFolder) {
    PutInFolder(m_orb.Path());
    {
        OrbLogger logger;
        ASSERT_EQ(0, logger.Load(m_folder.c_str()));
        FakeOrb other(OtherPath());
        EXPECT_EQ(0, logger.Log(L"elsewhere"));
        EXPECT_EQ(L"Log QSN1.0 elsewhere\n", other.Record());
        EXPECT_EQ(L"", m_orb.Record());
    }
    EXPECT_EQ(nullptr, GetModuleHandleW(OtherPath().c_str())) << "freed at the end";
}

TEST_F(OrbLoggerTest, ReportsAModuleThatCannotBeLoaded) {
    PutBrokenModuleInFolder();
    OrbLogger logger;
    EXPECT_EQ(OrbLogger::kNotLoaded, logger.Load(m_folder.c_str()));
    EXPECT_EQ(OrbLogger::kNotLoaded, logger.Init(L""));
    EXPECT_EQ(OrbLogger::kNotLoaded, logger.Log(L"text"));
    EXPECT_EQ(OrbLogger::kNotLoaded, logger.LogA(nullptr));
    EXPECT_EQ(OrbLogger::kNotLoaded, logger.Uninit(0));
    EXPECT_EQ(L"", m_orb.Record());
}

TEST_F(OrbLoggerTest, ReportsMissingEntryPoints) {
    PutInFolder(FakeNetwork().Path());
    OrbLogger logger;
    ASSERT_EQ(0, logger.Load(m_folder.c_str()));
    EXPECT_EQ(OrbLogger::kNoEntryPoint, logger.Init(L""));
    EXPECT_EQ(OrbLogger::kNoEntryPoint, logger.Log(L"text"));
    EXPECT_EQ(OrbLogger::kNoEntryPoint, logger.LogA("text"));
    EXPECT_EQ(OrbLogger::kNoEntryPoint, logger.Uninit(0));
}

}  // namespace
}  // namespace qsn::test
