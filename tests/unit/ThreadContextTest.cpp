#include "engine/QSNThreadContext.h"

#include <gtest/gtest.h>

#include "engine/ResultCodes.h"
#include "support/RecordingCallback.h"
#include "thread/QSNTask.h"

namespace {

using qsn::QSNThreadContext;
using qsn::test::RecordingCallback;

class ThreadContext : public testing::Test {
protected:
    // Destroyed in reverse order: the context lets go of the callback first.
    RecordingCallback m_callback;
    QSNThreadContext m_context;
};

TEST_F(ThreadContext, ASecondInitChangesNothing) {
    RecordingCallback other;
    ASSERT_EQ(m_context.Init("SID-1", &m_callback), S_OK);
    EXPECT_EQ(m_context.Init("SID-2", &other), QSN_RETURN_E_ALREADY_INITIALIZED);
    EXPECT_EQ(other.References(), 1);
    EXPECT_TRUE(m_context.GetSignInURL().ends_with("?SID=SID-1"));
}

TEST_F(ThreadContext, InitAfterUninitStartsAFreshSession) {
    RecordingCallback old;
    ASSERT_EQ(m_context.Init("SID-1", &old), S_OK);
    m_context.SetAccessToken("token");
    ASSERT_EQ(m_context.Uninit(), S_OK);
    EXPECT_EQ(m_context.AccessToken(), "token") << "kept until the next Init";
    ASSERT_EQ(m_context.Init("SID-2", &m_callback), S_OK);
    EXPECT_EQ(old.References(), 1);
    EXPECT_EQ(m_context.AccessToken(), "");
    EXPECT_EQ(m_context.SignIn(false), QSN_RETURN_E_NO_TOKEN);
    EXPECT_EQ(old.Pending(), 0u);
    const auto event = m_callback.WaitFor(QSN_ACTION_SIGNIN_RESULT);
    ASSERT_TRUE(event);
    EXPECT_EQ(event->text, "https://account.quillfern.example/qsn/page/login?SID=SID-2");
}

TEST_F(ThreadContext, ConfigurationItemsAreKnownOrNot) {
    ASSERT_EQ(m_context.Init("SID", &m_callback), S_OK);
    const std::uint32_t one = 1;
    struct {
        int id;
        const void* data;
        HRESULT expected;
    } const cases[] = {
        {2, L"de", S_OK},        {2, nullptr, E_INVALIDARG}, {5, &one, S_OK},      {5, nullptr, E_INVALIDARG},
        {7, L"x", S_OK},         {7, nullptr, E_INVALIDARG}, {8, &one, S_OK},      {8, nullptr, E_INVALIDARG},
        {9, &one, S_OK},         {9, nullptr, E_INVALIDARG}, {3, &one, E_NOTIMPL}, {3, nullptr, E_NOTIMPL},
        {0, nullptr, E_NOTIMPL},
    };
    for (const auto& each : cases) {
        EXPECT_EQ(m_context.SetConfig(each.id, each.data), each.expected) << each.id;
    }
    EXPECT_EQ(m_context.GetSignInURL(), "https://account-staging.quillfern.example/qsn/page/login?SID=SID");
}

TEST_F(ThreadContext, WithoutATokenNothingIsTried) {
    ASSERT_EQ(m_context.Init("SID", &m_callback), S_OK);
    m_callback.onEvent = [](const auto&, void*) { return static_cast<HRESULT>(0x1234); };
    EXPECT_EQ(m_context.GetUserInfoCmdProc(), 0x1234) << "what the callback returned";
    const auto event = m_callback.WaitFor(QSN_ACTION_GET_USERINFO_RESULT);
    ASSERT_TRUE(event);
    EXPECT_EQ(event->result, QSN_CALLBACK_NOT_SIGNED_IN);
    EXPECT_FALSE(event->hasData);
}

TEST_F(ThreadContext, CallbacksAreRememberedExceptNotifications) {
    ASSERT_EQ(m_context.Init("SID", &m_callback), S_OK);
    m_context.DoCallback(QSN_ACTION_SIGNIN_RESULT, 5, nullptr);
    EXPECT_EQ(m_context.StatusText(), "Callback: QSN_ACTION_SIGNIN_RESULT, result = 5\n");
    m_context.DoCallback(QSN_ACTION_GI_LOG_RESULT, 9, nullptr);
    EXPECT_EQ(m_context.LastCallbackResult(), 9);
    m_context.DoCallback(QSN_ACTION_NOTIFY, 7, nullptr);
    m_context.DoCallback(4711, 8, nullptr);
    EXPECT_EQ(m_context.LastCallbackResult(), 9);
    EXPECT_EQ(m_context.StatusText(), "Callback: QSN_ACTION_SIGNIN_RESULT, result = 5\n");
    EXPECT_EQ(m_callback.Pending(), 4u) << "unknown actions are forwarded too";
}

TEST_F(ThreadContext, OnlySomeResultsEndTheSession) {
    ASSERT_EQ(m_context.Init("SID", &m_callback), S_OK);
    for (int code : {0, 1, 2, 3, 4, 5, 8, 9, 10, 11, 101, 102, 106, 107}) {
        m_context.SetAccessToken("token");
        m_context.HandleServerResult(code);
        const bool ends = code == 2 || code == 3 || code == 101 || code == 107;
        EXPECT_EQ(m_context.AccessToken().empty(), ends) << code;
    }
}

TEST(ResultCodes, AreTranslatedByTheTables) {
    const auto hresult = [](unsigned code) { return static_cast<HRESULT>(code); };
    struct {
        int server;
        HRESULT hr;
        int callback;
    } const cases[] = {
        {0, S_OK, 0},
        {1, hresult(0x84200001), 2},
        {2, hresult(0x84200002), 4},
        {3, hresult(0x84200003), 9},
        {4, hresult(0x84200004), 8},
        {5, hresult(0x84200005), 5},
        {6, hresult(0x84200006), 10},
        {101, hresult(0x80420101), 101},
        {104, hresult(0x80420104), 104},
        {107, hresult(0x80420107), 107},
        {7, E_UNEXPECTED, 1},
        {100, E_UNEXPECTED, 1},
        {108, E_UNEXPECTED, 1},
        {-1, E_UNEXPECTED, 1},
    };
    for (const auto& each : cases) {
        EXPECT_EQ(qsn::ServerResult2HRESULT(each.server), each.hr) << each.server;
        EXPECT_EQ(qsn::HRESULT2CallbackResult(each.hr), each.callback) << each.server;
    }
    EXPECT_EQ(qsn::HRESULT2CallbackResult(hresult(0x84200007)), 11);
    for (HRESULT hr : {S_FALSE, hresult(0x80420100), hresult(0x80420108), hresult(0x8042010a), E_FAIL}) {
        EXPECT_EQ(qsn::HRESULT2CallbackResult(hr), 1);
    }
}

TEST_F(ThreadContext, TasksNeedAContextAndAnOutput) {
    qsn::GetSignInURLTask task;
    EXPECT_EQ(task.Run(nullptr), E_POINTER);
    EXPECT_EQ(task.GetResultString(nullptr), E_POINTER);
    qsn::GetUserInfoTask other;
    std::string text = "untouched";
    EXPECT_EQ(other.GetResultString(&text), S_OK);
    EXPECT_EQ(text, "untouched");
}

TEST_F(ThreadContext, SignOutNeedsASession) {
    EXPECT_EQ(m_context.SignOut(false, "m", "r"), QSN_RETURN_E_NOT_INITIALIZED);
    ASSERT_EQ(m_context.Init("SID", &m_callback), S_OK);
    EXPECT_EQ(qsn::SignOutTask(1, "m", qsn::SecretText("r")).Run(&m_context), QSN_RETURN_E_NO_TOKEN);
    EXPECT_EQ(m_callback.ResultOf(QSN_ACTION_SSO_SIGNOUT_RESULT), QSN_CALLBACK_NOT_SIGNED_IN);
    EXPECT_EQ(m_callback.Pending(), 0u);
}

TEST_F(ThreadContext, SignInTasksTakeTokensOfUpTo63Characters) {
    ASSERT_EQ(m_context.Init("SID", &m_callback), S_OK);
    EXPECT_EQ(qsn::SignInTask(std::string(64, 'x'), 0).Run(&m_context), E_INVALIDARG);
    EXPECT_EQ(m_callback.Pending(), 0u);
    EXPECT_EQ(qsn::SignInTask(std::string(63, 'x'), 0).Run(&m_context), S_OK);
    EXPECT_EQ(m_callback.ResultOf(QSN_ACTION_SIGNIN_RESULT), 0);
    EXPECT_EQ(qsn::SignInTask("", 1).Run(&m_context), S_OK) << "a session that is held stays";
    EXPECT_EQ(m_callback.ResultOf(QSN_ACTION_SSO_SIGNIN_RESULT), 0);
    EXPECT_EQ(qsn::SignInTask("other", 0).Run(&m_context), S_OK);
    EXPECT_EQ(m_context.AccessToken(), "other");
}

}  // namespace
