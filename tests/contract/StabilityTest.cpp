#include <gtest/gtest.h>

#include <cstdlib>
#include <functional>

#include "support/Fakes.h"
#include "support/ProcessState.h"
#include "support/Resources.h"
#include "support/SessionTest.h"

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
        // The reader of this throws beyond a certain depth.
        Server().Rules().Once({.body = std::string(5000, '[')});
        ASSERT_EQ(qsn->GetProductList(), S_OK);
        ASSERT_EQ(callback.ResultOf(QSN_ACTION_GET_PRODUCTLIST_RESULT), QSN_CALLBACK_NETWORK_OR_UNKNOWN);
        // To look into the member token in the store takes libcrypto.
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
        SharedValues::WriteToken("mTok", Server().IssueMemberToken("20417", 1h));
    }
    std::size_t BytesInUse() {
        // On the service's side a session's connection ends a moment later.
        Server().DropConnections();
        Server().TakeRequests();
        m_orb.Reset();
        return HeapBytes();
    }
    // WMI and the system's TLS keep threads and handles of their own, so the counts are taken after a few rounds. At
    // the end they must not have grown.
    void ExpectNothingLeftBy(const std::function<void()>& session, unsigned rounds) {
        for (int round = 0; round < 8; ++round) session();
        const std::size_t bytes = BytesInUse();
        const Resources before;
        for (unsigned round = 0; round < rounds; ++round) session();
        EXPECT_LT(BytesInUse(), bytes + 100 * rounds) << "what the system keeps for itself is less";
        before.ExpectNoMore();
    }

    SharedValues m_values;
    FakeOrb m_orb;  // the stand-in leaves memory behind each time that it is freed
};

TEST_F(Stability, SessionsLeaveNothing) {
    const Library library;
    ExpectNothingLeftBy([&] { OneSession(library); }, 200);
}

TEST_F(Stability, LoadingAndFreeingTheDllLeavesNothing) {
    ExpectNothingLeftBy([] { OneSession(Library()); }, 300);
    EXPECT_EQ(GetModuleHandleW(L"qsn.dll"), nullptr) << "the rounds must really have freed it";
}

constexpr int kCleanEnd = 42;

TEST(StabilityDeathTest, AHostLeavesAsItLikes) {
    const auto leaveWithoutUninit = [] {
        static RecordingCallback callback;
        static Library* const library = new Library;
        IPVSubscription2* const qsn = Create(*library).release();
        ASSERT_EQ(qsn->Init(L"SID", &callback), S_OK);
        qsn->SignIn("x");
        callback.WaitFor(QSN_ACTION_SIGNIN_RESULT);
        std::exit(kCleanEnd);
    };
    const auto leaveAfterFreeingTheDll = [] {
        for (int round = 0; round < 3; ++round) {
            const Library library;
            RecordingCallback callback;
            const LibraryObject qsn = Create(library);
            ASSERT_EQ(qsn->Init(L"SID", &callback), S_OK);
            ASSERT_EQ(qsn->Uninit(), S_OK);
        }
        std::exit(kCleanEnd);
    };
    const ULONGLONG start = GetTickCount64();
    EXPECT_EXIT(leaveWithoutUninit(), testing::ExitedWithCode(kCleanEnd), "");
    EXPECT_LT(GetTickCount64() - start, 2000u + 5000u) << "start-up under load included";
    EXPECT_EXIT(leaveAfterFreeingTheDll(), testing::ExitedWithCode(kCleanEnd), "");
}

}  // namespace
