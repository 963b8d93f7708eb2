#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>

#include "support/Fakes.h"
#include "support/SessionTest.h"

namespace {

using namespace qsn::test;

class UsageLog : public testing::Test {
protected:
    UsageLog() { TestService::Instance().Reset(); }

    LibraryObject StartedObject() {
        LibraryObject qsn = Create(m_library);
        EXPECT_EQ(qsn->Init(L"S\u00e4D", &m_callback), S_OK);
        return qsn;
    }
    int UserInfoResult(IPVSubscription2& qsn) {
        qsn.GetUserInfo();
        return m_callback.ResultOf(QSN_ACTION_GET_USERINFO_RESULT);
    }
    // What the log was told, the machine's own identifier taken out.
    std::wstring Record() const {
        std::wstring record = m_orb.Record();
        const std::size_t start = record.find(L"HWID=");
        if (start != std::wstring::npos) record.erase(start + 5, record.find(L'&', start) - start - 5);
        return record;
    }

    FakeOrb m_orb;
    RecordingCallback m_callback;
    Library m_library;
};

constexpr wchar_t kStart[] =
    L"Init 5B0C3E64-9D1F-4A27-8E6B-2F7A41C9D035 HWID=&sid=S\u00e4D\n"
    L"Log QSN1.0 QSN Init\n";
constexpr wchar_t kEnd[] =
    L"Log QSN1.0 QSN Uninit\n"
    L"Uninit 0\n";

TEST_F(UsageLog, FollowsASession) {
    LibraryObject qsn = StartedObject();
    EXPECT_EQ(UserInfoResult(*qsn), QSN_CALLBACK_NOT_SIGNED_IN);
    qsn->SignIn(kToken);
    EXPECT_EQ(UserInfoResult(*qsn), QSN_CALLBACK_OK);
    ASSERT_EQ(qsn->Uninit(), S_OK);
    qsn.reset();
    EXPECT_EQ(Record(), std::wstring(kStart) +
                            L"Log QSN1.0 GetUserInfo\n"  // comes before the test for a token
                            L"Log QSN1.0 GetUserInfo\n"
                            L"Log QSN1.0 GetUserInfo, Server result = 0\n\n" +
                            kEnd);
}

TEST_F(UsageLog, TellsWhatWentWrong) {
    const LibraryObject qsn = StartedObject();
    qsn->SignIn(kToken);
    auto& rules = TestService::Instance().Server().Rules();
    const auto added = [&](auto&& fault) {
        m_orb.Reset();
        fault();
        EXPECT_NE(UserInfoResult(*qsn), QSN_CALLBACK_OK);
        const std::wstring record = Record();
        const std::wstring name = L"Log QSN1.0 GetUserInfo\n";
        EXPECT_TRUE(record.starts_with(name));
        return record.substr(std::min(name.size(), record.size()));
    };
    EXPECT_EQ(added([&] { rules.Once({.status = 500}); }), L"Log QSN1.0 Send http request to server failed\n");
    EXPECT_EQ(added([&] { rules.Once({.token = qsn::service::PairFault::kOmitted}); }),
              L"Log QSN1.0 No auth info from server!!\nLog QSN1.0 GetUserInfo, Server result = 0\n\n");
    EXPECT_EQ(added([&] { rules.Once({.digest = qsn::service::PairFault::kWrong}); }),
              L"Log QSN1.0 Verify auth info from server failed!!\nLog QSN1.0 GetUserInfo, Server result = 0\n\n");
    EXPECT_EQ(added([&] { rules.Once({.result = 6}); }), L"Log QSN1.0 GetUserInfo, Server result = 6\n\n");
    FakeNetwork network;
    EXPECT_EQ(added([&] { network.SetAlive(false); }), L"Log QSN1.0 Get UesrInfo: Network not available\n");
}

TEST_F(UsageLog, IsTakenFromTheFolderThatTheHostNamesIfThereIsOneToTake) {
    const auto folder = std::filesystem::temp_directory_path() / "UsageLogTest";
    const std::filesystem::path module = folder / "Orb.dll";
    std::filesystem::create_directory(folder);
    const auto oneSession = [&] {
        const LibraryObject qsn = Create(m_library);
        EXPECT_EQ(qsn->Config(QSNCFG_SET_LOG_FOLDER, folder.wstring().data(), nullptr), S_OK);
        EXPECT_EQ(qsn->Init(L"SID", &m_callback), S_OK);
        EXPECT_EQ(UserInfoResult(*qsn), QSN_CALLBACK_NOT_SIGNED_IN);
    };
    oneSession();
    EXPECT_TRUE(m_orb.Record().ends_with(L"Log QSN1.0 GetUserInfo\nLog QSN1.0 QSN Uninit\nUninit 0\n"));
    m_orb.Reset();
    CopyFileW(m_orb.Path().c_str(), module.c_str(), FALSE);
    {
        const FakeOrb other(module);
        oneSession();
        EXPECT_TRUE(other.Record().starts_with(L"Init "));
    }
    // A module of another kind, and a file that is none.
    CopyFileW(FakeNetwork().Path().c_str(), module.c_str(), FALSE);
    oneSession();
    std::ofstream(module).flush();
    oneSession();
    EXPECT_EQ(m_orb.Record(), L"");
    EXPECT_EQ(GetModuleHandleW(module.c_str()), nullptr) << "freed at the end";
    std::filesystem::remove_all(folder);
}

TEST_F(UsageLog, EndsOnceEvenWithoutUninit) {
    StartedObject().reset();
    EXPECT_EQ(Record(), std::wstring(kStart) + kEnd);
}

}  // namespace
