#include <gtest/gtest.h>

#include <atomic>
#include <set>

#include "support/ImportTable.h"
#include "support/ProcessState.h"
#include "support/SessionTest.h"

namespace {

using namespace qsn::test;

class LibraryObjects : public SessionTest {
    void SetUp() override {}
};

TEST_F(LibraryObjects, AnswerForTwoIdentifiers) {
    EXPECT_EQ(m_library.Factory("CreateQSN"), m_library.Factory("CreateQSN2"));
    EXPECT_EQ(m_library.Factory()(nullptr), E_INVALIDARG);
    void* subscription = nullptr;
    ASSERT_EQ(m_qsn->QueryInterface(IID_IPVSubscription, &subscription), S_OK);
    EXPECT_EQ(subscription, m_qsn.get());
    void* unknown = nullptr;
    ASSERT_EQ(m_qsn->QueryInterface(IID_IUnknown, &unknown), S_OK);
    void* back = nullptr;
    ASSERT_EQ(static_cast<IUnknown*>(unknown)->QueryInterface(IID_IPVSubscription, &back), S_OK);
    EXPECT_EQ(back, m_qsn.get());
    EXPECT_EQ(m_qsn->AddRef(), 5u);
    for (ULONG left : {4u, 3u, 2u, 1u}) EXPECT_EQ(m_qsn->Release(), left);

    void* other = m_qsn.get();
    EXPECT_EQ(m_qsn->QueryInterface(IID_IQSNDataSet, &other), E_NOINTERFACE);
    EXPECT_EQ(other, nullptr);
    EXPECT_EQ(m_qsn->QueryInterface(IID_IPVSubscription, nullptr), E_INVALIDARG);
    EXPECT_EQ(m_qsn->QueryInterface(IID_IUnknown, nullptr), E_POINTER);
    EXPECT_EQ(m_qsn->QueryInterface(IID_IQSNDataSet, nullptr), E_POINTER);
}

TEST_F(LibraryObjects, WantInitFirst) {
    char text[8] = {};
    uint32_t length = 7;
    const auto expectRefusals = [&] {
        EXPECT_EQ(m_qsn->Uninit(), QSN_RETURN_E_NOT_INITIALIZED);
        EXPECT_EQ(m_qsn->Stop(), QSN_RETURN_E_NOT_INITIALIZED);
        EXPECT_EQ(m_qsn->SignIn("x"), QSN_RETURN_E_NOT_INITIALIZED);
        EXPECT_EQ(m_qsn->SignIn(nullptr), QSN_RETURN_E_NOT_INITIALIZED);
        EXPECT_EQ(m_qsn->GetUserInfo(), QSN_RETURN_E_NOT_INITIALIZED);
        EXPECT_EQ(m_qsn->GetAccessToken(text, 8, &length), QSN_RETURN_E_NOT_INITIALIZED);
        EXPECT_EQ(m_qsn->GetSignInURL(text, 8, &length), QSN_RETURN_E_NOT_INITIALIZED);
        for (const auto& [buffer, size] : {std::pair<char*, uint32_t*>{nullptr, &length}, {text, nullptr}}) {
            EXPECT_EQ(m_qsn->GetAccessToken(buffer, 8, size), E_POINTER);
            EXPECT_EQ(m_qsn->GetSignInURL(buffer, 8, size), E_POINTER);
        }
        EXPECT_EQ(length, 7u);
    };
    expectRefusals();
    EXPECT_EQ(m_qsn->Init(nullptr, &m_callback), E_POINTER);
    EXPECT_EQ(m_qsn->Init(L"SID", nullptr), E_POINTER);
    ASSERT_EQ(m_qsn->Init(L"SID", &m_callback), S_OK);
    RecordingCallback other;
    EXPECT_EQ(m_qsn->Init(L"OTHER", &other), QSN_RETURN_E_ALREADY_INITIALIZED);
    EXPECT_EQ(other.References(), 1);
    ASSERT_EQ(m_qsn->SignIn("x"), S_OK);
    EXPECT_EQ(m_callback.ResultOf(QSN_ACTION_SIGNIN_RESULT), QSN_CALLBACK_OK) << "the second changed nothing";
    ASSERT_EQ(m_qsn->Uninit(), S_OK);
    expectRefusals();
    EXPECT_EQ(m_callback.References(), 1);
    ASSERT_EQ(m_qsn->Init(L"SID", &m_callback), S_OK) << "it may be initialised anew";
    EXPECT_EQ(m_qsn->GetAccessToken(text, 8, &length), QSN_RETURN_E_NO_TOKEN) << "and knows no former session";
    using Method = HRESULT (STDMETHODCALLTYPE IPVSubscription2::*)();
    for (const Method reserved : std::initializer_list<Method>{
             &IPVSubscription2::Reserved6, &IPVSubscription2::Reserved8, &IPVSubscription2::Reserved9,
             &IPVSubscription2::Reserved12, &IPVSubscription2::Reserved18, &IPVSubscription2::Reserved19,
             &IPVSubscription2::Reserved20, &IPVSubscription2::Reserved21}) {
        EXPECT_EQ((m_qsn.get()->*reserved)(), E_NOTIMPL);
    }
}

TEST_F(LibraryObjects, TextsNeedRoomForTheirTerminator) {
    ASSERT_EQ(m_qsn->Init(L"S", &m_callback), S_OK);
    ASSERT_EQ(m_qsn->SignIn("12345"), S_OK);
    char text[8] = "old";
    uint32_t length = 7;
    EXPECT_EQ(m_qsn->GetAccessToken(text, 5, &length), E_INVALIDARG);
    EXPECT_EQ(length, 0u);
    EXPECT_STREQ(text, "old");
    EXPECT_EQ(m_qsn->GetAccessToken(text, 6, &length), S_OK);
    EXPECT_EQ(length, 5u);
    length = 7;
    EXPECT_EQ(m_qsn->GetSignInURL(text, 8, &length), E_INVALIDARG);
    EXPECT_EQ(length, 7u) << "untouched, other than with the access token";
}

std::atomic<bool> g_waitsForTwoMinutes{false};
BOOL WINAPI NoteWait(CONDITION_VARIABLE* changed, SRWLOCK* lock, DWORD milliseconds, ULONG flags) {
    if (milliseconds == 120000) g_waitsForTwoMinutes = true;
    return SleepConditionVariableSRW(changed, lock, milliseconds, flags);
}

TEST_F(LibraryObjects, HoldTheHostUpForTwoMinutesAtMost) {
    const ImportHook hook("SleepConditionVariableSRW", &NoteWait);
    ASSERT_EQ(m_qsn->Init(L"SID", &m_callback), S_OK);
    m_callback.onEvent = [](const Event&, void*) {
        EXPECT_TRUE(Eventually([] { return g_waitsForTwoMinutes.load(); }));
        return S_OK;
    };
    ASSERT_EQ(m_qsn->SignIn("12345"), S_OK);
    EXPECT_EQ(AccessToken(), "12345");
}

TEST_F(LibraryObjects, WithoutATokenTheLoginPageIsHandedOut) {
    ASSERT_EQ(m_qsn->Init(L"S\u00e4 &?", &m_callback), S_OK);
    for (const char* token : {static_cast<const char*>(nullptr), ""}) {
        EXPECT_EQ(m_qsn->SignIn(token), QSN_RETURN_E_NO_TOKEN);
        const auto event = m_callback.WaitFor(QSN_ACTION_SIGNIN_RESULT);
        ASSERT_TRUE(event);
        EXPECT_EQ(event->result, QSN_CALLBACK_NOT_SIGNED_IN);
        EXPECT_EQ(event->text, "https://account.quillfern.example/qsn/page/login?SID=S\xc3\xa4 &?");
    }
    char text[8];
    uint32_t length = 7;
    EXPECT_EQ(m_qsn->GetAccessToken(text, 8, &length), QSN_RETURN_E_NO_TOKEN);
    EXPECT_EQ(length, 0u);
}

TEST_F(LibraryObjects, TokensOf64CharactersAreDroppedSilentlyAndTheRestComesOnOneThread) {
    ASSERT_EQ(m_qsn->Init(L"SID", &m_callback), S_OK);
    EXPECT_EQ(m_qsn->SignIn(std::string(64, 'x').c_str()), S_OK);
    std::set<DWORD> threads;
    for (int round = 0; round < 3; ++round) {
        EXPECT_EQ(m_qsn->SignIn(std::string(63, 'y').c_str()), S_OK);
        threads.insert(m_callback.WaitFor(QSN_ACTION_SIGNIN_RESULT).value_or(Event{}).threadId);
    }
    EXPECT_EQ(threads.size(), 1u);
    EXPECT_FALSE(threads.contains(GetCurrentThreadId()));
    EXPECT_EQ(m_callback.Pending(), 0u);
    m_qsn->SignIn("x");
    m_qsn.reset();
    EXPECT_EQ(m_callback.References(), 1) << "the last release ends an initialised object";
}

}  // namespace
