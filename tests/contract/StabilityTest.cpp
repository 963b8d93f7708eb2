#include <gtest/gtest.h>
#include <process.h>

#include <cstdlib>
#include <functional>

#include "support/Fakes.h"
#include "support/ProcessState.h"
#include "support/Resources.h"
#include "support/SessionTest.h"
#include "support/SharedValues.h"

namespace {

using namespace qsn::test;

void OneSession(const Library& library) {
    RecordingCallback callback;
    {
        const LibraryObject qsn = Create(library);
        ASSERT_EQ(qsn->Init(L"SID", &callback), S_OK);
        ASSERT_EQ(qsn->SignIn(kToken), S_OK);
        ASSERT_EQ(qsn->GetUserInfo(), S_OK);
        ASSERT_EQ(callback.ResultOf(QSN_ACTION_GET_USERINFO_RESULT), QSN_CALLBACK_OK);
        // What reads this throws, beyond a depth.
        TestService::Instance().Server().Rules().Once({.body = std::string(5000, '[')});
        ASSERT_EQ(qsn->GetProductList(), S_OK);
        ASSERT_EQ(callback.ResultOf(QSN_ACTION_GET_PRODUCTLIST_RESULT), QSN_CALLBACK_NETWORK_OR_UNKNOWN);
        // The member token in the store is looked into, which takes libcrypto.
        ASSERT_EQ(qsn->GetProductListV2(), S_OK);
        ASSERT_EQ(callback.ResultOf(QSN_ACTION_GET_PRODUCTLIST_V2_RESULT), QSN_CALLBACK_OK);
        ASSERT_EQ(qsn->Uninit(), S_OK);
    }
    ASSERT_EQ(callback.References(), 1);
}

class Stability : public testing::Test {
protected:
    Stability() {
        TestService::Instance().Reset();
        const auto lifetime = std::chrono::hours(1);
        SharedValues::WriteToken("mTok", TestService::Instance().Server().IssueMemberToken("20417", lifetime));
    }
    std::size_t BytesInUse() {
        // A session's connection ends at the service's end a moment later.
        TestService::Instance().Server().DropConnections();
        TestService::Instance().Server().TakeRequests();
        m_orb.Reset();
        return HeapBytes();
    }
    // WMI and the TLS of the system keep threads and handles of their own, so the counts are taken after a few rounds
    // and must not have grown at the end.
    void ExpectNothingLeftBy(const std::function<void()>& session, unsigned rounds) {
        for (int round = 0; round < 8; ++round) session();
        const std::size_t bytes = BytesInUse();
        const Resources before;
        for (unsigned round = 0; round < rounds; ++round) session();
        EXPECT_LT(BytesInUse(), bytes + 100 * rounds) << "what the system keeps for itself is less";
        before.ExpectNoMore();
    }

    SharedValues m_values;
    FakeOrb m_orb;  // the stand-in itself would leave memory behind each time that it is freed
};

TEST_F(Stability, SessionsLeaveNothing) {
    const Library library;
    ExpectNothingLeftBy([&] { OneSession(library); }, 200);
}

TEST_F(Stability, LoadingAndFreeingTheDllLeavesNothing) {
    ExpectNothingLeftBy([] { OneSession(Library()); }, 300);
    EXPECT_EQ(GetModuleHandleW(L"qsn.dll"), nullptr) << "the rounds must really have freed it";
}

// Runs this program again with one disabled test in it, and gives its exit code.
intptr_t RunChild(const std::wstring& test) {
    wchar_t path[MAX_PATH];
    GetModuleFileNameW(nullptr, path, MAX_PATH);
    const std::wstring filter = L"--gtest_filter=StabilityChild.DISABLED_" + test;
    return _wspawnl(_P_WAIT, path, L"child", L"--gtest_also_run_disabled_tests", filter.c_str(), nullptr);
}

constexpr int kCleanEnd = 42;

TEST(StabilityChild, DISABLED_LeavesWithoutUninit) {
    static RecordingCallback callback;
    static Library* const library = new Library;
    IPVSubscription2* const qsn = Create(*library).release();
    ASSERT_EQ(qsn->Init(L"SID", &callback), S_OK);
    qsn->SignIn("x");
    callback.WaitFor(QSN_ACTION_SIGNIN_RESULT);
    std::exit(kCleanEnd);
}

TEST(StabilityChild, DISABLED_LeavesAfterFreeingTheDll) {
    for (int round = 0; round < 3; ++round) {
        const Library library;
        RecordingCallback callback;
        const LibraryObject qsn = Create(library);
        ASSERT_EQ(qsn->Init(L"SID", &callback), S_OK);
        ASSERT_EQ(qsn->Uninit(), S_OK);
    }
    std::exit(kCleanEnd);
}

TEST_F(Stability, AHostLeavesAsItLikes) {
    const ULONGLONG start = GetTickCount64();
    EXPECT_EQ(RunChild(L"LeavesWithoutUninit"), kCleanEnd);
    EXPECT_LT(GetTickCount64() - start, 2000u + 5000u) << "start-up under load included";
    EXPECT_EQ(RunChild(L"LeavesAfterFreeingTheDll"), kCleanEnd);
}

}  // namespace
