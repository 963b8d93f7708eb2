#include <gtest/gtest.h>

#include <memory>

#include "SwitchedOnTrace.h"
#include "lib/PVQSNLib.h"
#include "support/RecordingCallback.h"
#include "support/SharedValues.h"

namespace {

using qsn::PVQSNLib;
using qsn::test::RecordingCallback;
using qsn::test::SharedValues;

struct Releaser {
    void operator()(PVQSNLib* object) const { object->Release(); }
};

// What the library object makes of the events of its store, without the store's watcher.
class SingleSignOnEvents : public testing::Test {
protected:
    void SetUp() override { ASSERT_EQ(m_qsn->Init(L"SID", &m_callback), S_OK); }

    void Enable(uint32_t enable) { ASSERT_EQ(m_qsn->Config(QSNCFG_ENABLE_SINGLE_SIGNON, &enable, nullptr), S_OK); }
    // Action, result and text of the callback that `id` brings, in one line.
    std::string CallbackFor(int id, const char* data, int action) {
        EXPECT_EQ(m_qsn->SSOCallbackEvent(id, data), S_OK);
        const auto event = m_callback.WaitFor(action);
        if (!event) return "none";
        return std::to_string(event->result) + (event->hasData ? " " + event->text : "");
    }

    SharedValues m_values;
    RecordingCallback m_callback;
    std::unique_ptr<PVQSNLib, Releaser> m_qsn{new PVQSNLib};
};

TEST_F(SingleSignOnEvents, ReachTheHostAsActions) {
    Enable(1);
    EXPECT_EQ(CallbackFor(1, nullptr, QSN_ACTION_SSO_SIGNIN_RESULT),
              "3 https://account.quillfern.example/qsn/page/login?SID=SID")
        << "the token is gone again";
    SharedValues::WriteToken("SSO", "token");
    EXPECT_EQ(CallbackFor(1, nullptr, QSN_ACTION_SSO_SIGNIN_RESULT), "0");
    EXPECT_EQ(CallbackFor(3, "member", QSN_ACTION_NOTIFY), "5 member");
    EXPECT_EQ(CallbackFor(3, "", QSN_ACTION_NOTIFY), "5 ");
    EXPECT_EQ(CallbackFor(4, nullptr, QSN_ACTION_NOTIFY), "7");
    EXPECT_EQ(CallbackFor(5, "refresh", QSN_ACTION_NOTIFY), "6 refresh");
    EXPECT_EQ(CallbackFor(6, "ignored", QSN_ACTION_NOTIFY), "8");
}

TEST_F(SingleSignOnEvents, ASignOutElsewhereTakesTheOtherTokensAlong) {
    Enable(1);
    for (const char* name : {"SSO", "mTok"}) SharedValues::WriteToken(name, "x");
    SharedValues::WriteProtected("rTok", "x");
    EXPECT_EQ(CallbackFor(2, nullptr, QSN_ACTION_SSO_SIGNOUT_RESULT), "3");
    EXPECT_TRUE(SharedValues::Has("SSO")) << "somebody may have signed in again";
    EXPECT_FALSE(SharedValues::Has("mTok"));
    EXPECT_FALSE(SharedValues::Has("rTok"));
}

TEST_F(SingleSignOnEvents, AreIgnoredWhereNobodyWantsThem) {
    const qsn::test::SwitchedOnTrace trace;
    for (int id = 0; id < 8; ++id) EXPECT_EQ(m_qsn->SSOCallbackEvent(id, "x"), S_OK);
    EXPECT_TRUE(trace.Lines().empty()) << "switched off";
    Enable(1);
    EXPECT_EQ(m_qsn->SSOCallbackEvent(7, "x"), S_OK);
    EXPECT_TRUE(trace.WaitForLine("SSOCallbackEvent, ID = 7\n", {}));
    ASSERT_EQ(m_qsn->Uninit(), S_OK);
    SharedValues::WriteToken("mTok", "x");
    for (int id = 1; id < 7; ++id) EXPECT_EQ(m_qsn->SSOCallbackEvent(id, "x"), QSN_RETURN_E_NOT_INITIALIZED) << id;
    EXPECT_TRUE(SharedValues::Has("mTok"));
    EXPECT_EQ(m_callback.Pending(), 0u);
}

}  // namespace
