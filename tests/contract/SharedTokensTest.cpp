#include <gtest/gtest.h>
#include <windows.h>

#include <dpapi.h>
#include <wincrypt.h>

#include <malloc.h>

#include <atomic>
#include <cstring>

#include "support/Fakes.h"
#include "support/ImportTable.h"
#include "support/ProcessState.h"
#include "support/SessionTest.h"

namespace {

using namespace qsn::test;

using SharedTokens = SessionTest;

struct SignOutCase {
    const char* what;
    bool signedIn;
    bool network;
    int serverResult;
    uint32_t singleSignOn;
    int callbackResult;
    bool reachesTheService;
};

class SigningOut : public SharedTokens, public testing::WithParamInterface<SignOutCase> {};

TEST_P(SigningOut, EndsTheSessionAndClearsTheStore) {
    const SignOutCase& each = GetParam();
    const FakeOrb orb;
    FakeNetwork network;
    network.SetAlive(each.network);
    Switch(QSNCFG_ENABLE_SINGLE_SIGNON, each.singleSignOn);
    if (each.signedIn) SignIn();
    SharedValues::WriteToken("SSO", kToken);
    SharedValues::WriteToken("mTok", "m-1");
    SharedValues::WriteProtected("rTok", "r-1");
    if (each.serverResult) Server().Rules().Once({.result = each.serverResult}, {.requestType = "signOut"});

    ASSERT_EQ(m_qsn->SignOut(), S_OK);
    const auto event = m_callback.WaitFor(QSN_ACTION_SIGNOUT_RESULT);
    ASSERT_TRUE(event);
    EXPECT_EQ(event->result, each.callbackResult);
    EXPECT_FALSE(event->hasData);
    EXPECT_EQ(AccessToken(), "");
    EXPECT_EQ(UserInfoResult(), QSN_CALLBACK_NOT_SIGNED_IN);
    EXPECT_FALSE(SharedValues::Has("mTok"));
    EXPECT_FALSE(SharedValues::Has("rTok"));
    EXPECT_EQ(SharedValues::Has("SSO"), each.singleSignOn == 0)
        << "the shared token is no business of those who do not take part";

    const auto logged = [&](const std::wstring& line) {
        return orb.Record().find(L"Log QSN1.0 " + line) != std::wstring::npos;
    };
    EXPECT_TRUE(logged(L"SignOut"));
    EXPECT_EQ(logged(L"Sign Out: Network not available"), !each.network);
    EXPECT_EQ(logged(L"OnlineSignOut, Server result = " + std::to_wstring(each.serverResult)), each.reachesTheService);

    const auto requests = Server().TakeRequests();
    ASSERT_EQ(requests.size(), each.reachesTheService ? 1u : 0u);
    if (!each.reachesTheService) return;
    EXPECT_TRUE(requests[0].body.starts_with(R"({"accessToken":"token-ada","data":{"machineID":")"))
        << requests[0].body;
    EXPECT_TRUE(requests[0].body.ends_with(R"(","memberToken":"m-1","refreshToken":"r-1","sid":"SID-TEST"},)"
                                           R"("requestType":"signOut","version":1})"
                                           "\n"))
        << requests[0].body;
}

INSTANTIATE_TEST_SUITE_P(All, SigningOut,
                         testing::Values(SignOutCase{"inOrder", true, true, 0, 1, QSN_CALLBACK_OK, true},
                                         SignOutCase{"noNetwork", true, false, 0, 1, QSN_CALLBACK_NETWORK_OR_UNKNOWN,
                                                     false},
                                         SignOutCase{"refused", true, true, 2, 1, QSN_CALLBACK_SERVER_RESULT_2, true},
                                         SignOutCase{"noToken", false, true, 0, 1, QSN_CALLBACK_NOT_SIGNED_IN, false},
                                         SignOutCase{"notShared", true, true, 0, 0, QSN_CALLBACK_OK, true}),
                         [](const auto& each) { return std::string(each.param.what); });

TEST_F(SharedTokens, SignInSharesTheTokenOnlyWhereItIsSwitchedOn) {
    SignIn();
    EXPECT_FALSE(SharedValues::Has("SSO"));
    Switch(QSNCFG_ENABLE_SINGLE_SIGNON);
    EXPECT_EQ(m_qsn->SignIn(""), QSN_RETURN_E_NO_TOKEN);
    EXPECT_FALSE(SharedValues::Has("SSO"));
    EXPECT_EQ(m_callback.ResultOf(QSN_ACTION_SIGNIN_RESULT), QSN_CALLBACK_OK) << "the session is held";
    SignIn("other");
    EXPECT_EQ(SharedValues::Read("SSO"), (SharedValues::Raw{REG_SZ, SharedValues::Base64Lines("other")}));
    Switch(QSNCFG_ENABLE_SINGLE_SIGNON, 0);
    SignIn("third");
    Switch(QSNCFG_ENABLE_SINGLE_SIGNON);
    ASSERT_EQ(m_qsn->Uninit(), S_OK);
    SetUp();
    SignIn("fourth");
    EXPECT_EQ(SharedValues::Read("SSO")->data, SharedValues::Base64Lines("other")) << "an end switches it off, too";
}

TEST_F(SharedTokens, SignInWithoutATokenTakesTheSharedOne) {
    EXPECT_EQ(m_qsn->SignIn(nullptr), QSN_RETURN_E_NO_TOKEN);
    EXPECT_EQ(m_callback.ResultOf(QSN_ACTION_SIGNIN_RESULT), QSN_CALLBACK_NOT_SIGNED_IN);
    const std::string asWritten = SharedValues::Base64Lines(kToken) + '\0';
    SharedValues::Write("SSO", asWritten);
    EXPECT_EQ(m_qsn->SignIn(nullptr), QSN_RETURN_E_NO_TOKEN) << "not where it is switched off";
    EXPECT_EQ(m_callback.ResultOf(QSN_ACTION_SIGNIN_RESULT), QSN_CALLBACK_NOT_SIGNED_IN);
    Switch(QSNCFG_ENABLE_SINGLE_SIGNON);
    SignIn(nullptr);
    EXPECT_EQ(AccessToken(), kToken);
    EXPECT_EQ(SharedValues::Read("SSO")->data, asWritten) << "it is not written back";
}

TEST_F(SharedTokens, ASignOutElsewhereTakesItsOwnTokensAlongAndNoLaterOnes) {
    Switch(QSNCFG_ENABLE_SINGLE_SIGNON);
    for (const bool signedInAnew : {false, true}) {
        SignIn();
        for (int32_t item : {QSNCFG_SET_MEMBER_TOKEN, QSNCFG_SET_REFRESH_TOKEN}) SetToken(*m_qsn, item, "former");
        SharedValues::Delete("SSO");
        if (signedInAnew) {  // before the library has looked
            SharedValues::WriteToken("mTok", "later");
            SharedValues::WriteProtected("rTok", "later");
        }
        EXPECT_TRUE(m_callback.WaitFor(QSN_ACTION_SSO_SIGNOUT_RESULT));
        EXPECT_EQ(AccessToken(), "");
        const auto requests = Server().TakeRequests();
        ASSERT_EQ(requests.size(), 1u);
        EXPECT_EQ(requests[0].body.find("later"), std::string::npos) << requests[0].body;
        if (signedInAnew) {
            for (const char* told : {"5 later", "6 later"}) {
                const auto event = m_callback.WaitFor(QSN_ACTION_NOTIFY).value_or(Event{});
                EXPECT_EQ(std::to_string(event.result) + ' ' + event.text, told);
            }
            EXPECT_EQ(SharedValues::Read("mTok")->data, SharedValues::Base64Lines("later"));
            EXPECT_EQ(SharedValues::Decrypt("rTok"), "later");
        } else {
            EXPECT_NE(requests[0].body.find(R"("refreshToken":"former")"), std::string::npos) << requests[0].body;
            EXPECT_TRUE(Eventually([] { return !SharedValues::Has("mTok") && !SharedValues::Has("rTok"); }));
        }
    }
}

BOOL WINAPI WriteAnotherAndFail(DATA_BLOB*, LPWSTR*, DATA_BLOB*, void*, CRYPTPROTECT_PROMPTSTRUCT*, DWORD, DATA_BLOB*) {
    SharedValues::WriteProtected("rTok", "new");
    SetLastError(ERROR_INVALID_DATA);
    return FALSE;
}

TEST_F(SharedTokens, WhatCannotBeDecryptedGoesOnlyWhileItIsThere) {
    SharedValues::WriteProtected("rTok", "damaged");
    const ImportHook hook("CryptUnprotectData", &WriteAnotherAndFail);
    uint32_t length = 0;
    EXPECT_EQ(m_qsn->Config(QSNCFG_GET_REFRESH_TOKEN, nullptr, &length), S_OK);
    EXPECT_EQ(length, 1u);
    EXPECT_EQ(SharedValues::Decrypt("rTok"), "new");
}

std::atomic<DWORD> g_protection{0};
BOOL WINAPI NoteProtection(DATA_BLOB* plain, LPCWSTR description, DATA_BLOB* entropy, void* reserved,
                           CRYPTPROTECT_PROMPTSTRUCT* prompt, DWORD flags, DATA_BLOB* encrypted) {
    g_protection = flags;
    return CryptProtectData(plain, description, entropy, reserved, prompt, flags, encrypted);
}

// Long enough to need memory of their own. A text that was only emptied still holds all but its first character. The
// copies in the texts of requests do not stand at the beginning of a block.
constexpr char kLongToken[] = "access-token-of-a-length-that-is-usual";
constexpr char kLongRefreshToken[] = "refresh-token-of-a-length-that-is-usual";

std::atomic<unsigned> g_tokensFreed{0};
void FreeNoting(void* block) {
    for (const std::string_view token : {kLongToken, kLongRefreshToken}) {
        if (block && _msize(block) >= token.size() &&
            std::memcmp(static_cast<char*>(block) + 1, &token[1], token.size() - 1) == 0)
            ++g_tokensFreed;
    }
    free(block);
}

TEST_F(SharedTokens, StayBehindInNoMemory) {
    Server().Accounts().Use([](auto& accounts) { accounts.users[0].accessTokens.push_back({kLongToken}); });
    Switch(QSNCFG_ENABLE_SINGLE_SIGNON);
    const ImportHook freeHook("free", &FreeNoting);
    const ImportHook protectionHook("CryptProtectData", &NoteProtection);
    const auto expectNone = [](const char* step) { EXPECT_EQ(g_tokensFreed.exchange(0), 0u) << step; };
    SignIn(kLongToken);
    expectNone("sign-in");
    SignIn(nullptr);
    expectNone("sign-in with the shared token");
    EXPECT_EQ(AccessToken(), kLongToken);
    expectNone("access token");
    EXPECT_EQ(UserInfoResult(), QSN_CALLBACK_OK);
    expectNone("user information");
    char token[] = "refresh-token-of-a-length-that-is-usual";
    uint32_t length = sizeof(token) - 1;
    ASSERT_EQ(m_qsn->Config(QSNCFG_SET_REFRESH_TOKEN, token, &length), S_OK);
    EXPECT_EQ(g_protection, DWORD{CRYPTPROTECT_LOCAL_MACHINE})
        << "those of the suite that run as services read it, too";
    EXPECT_TRUE(Eventually([] { return !HeapHolds(kLongRefreshToken); })) << "it is in the registry now";
    length = sizeof(token);
    ASSERT_EQ(m_qsn->Config(QSNCFG_GET_REFRESH_TOKEN, token, &length), S_OK);
    expectNone("refresh token");
    ASSERT_EQ(m_qsn->SignOut(), S_OK);
    EXPECT_EQ(m_callback.ResultOf(QSN_ACTION_SIGNOUT_RESULT), QSN_CALLBACK_OK);
    m_qsn.reset();
    expectNone("sign-out");
}

TEST_F(SharedTokens, AreSetReadAndCleared) {
    ASSERT_EQ(m_qsn->Uninit(), S_OK) << "these items work at any time";
    const std::tuple<const char*, int32_t, int32_t> rows[] = {
        {"mTok", QSNCFG_SET_MEMBER_TOKEN, QSNCFG_GET_MEMBER_TOKEN},
        {"rTok", QSNCFG_SET_REFRESH_TOKEN, QSNCFG_GET_REFRESH_TOKEN}};
    for (const auto& [value, setItem, getItem] : rows) {
        SCOPED_TRACE(value);
        const auto set = [&, item = setItem](std::string text, uint32_t length) {
            text.resize(length);
            return m_qsn->Config(item, text.data(), &length);
        };
        // Result, length and text on one line.
        const auto get = [&, item = getItem](std::optional<uint32_t> size) {
            char buffer[64] = "untouched";
            uint32_t length = size.value_or(0);
            const HRESULT hr = m_qsn->Config(item, size ? buffer : nullptr, &length);
            const char* const name = hr == S_OK ? "ok " : hr == E_INVALIDARG ? "invalid " : "other ";
            return name + std::to_string(length) + " " + buffer;
        };
        EXPECT_EQ(get(std::nullopt), "ok 1 untouched");
        EXPECT_EQ(get(0), "invalid 0 untouched");
        EXPECT_EQ(get(1), "ok 0 ");

        ASSERT_EQ(set("0123456789", 10), S_OK);
        EXPECT_EQ(get(std::nullopt), "ok 11 untouched");
        EXPECT_EQ(get(10), "invalid 10 untouched");
        EXPECT_EQ(get(11), "ok 10 0123456789");
        ASSERT_EQ(set("0123456789", 4), S_OK) << "the length counts";
        EXPECT_EQ(get(64), "ok 4 0123");
        ASSERT_EQ(set("01234", 40), S_OK) << "and so does the terminator";
        EXPECT_EQ(get(64), "ok 5 01234");
        EXPECT_EQ(set(std::string(3000, 'x'), 3000), E_INVALIDARG);
        EXPECT_EQ(get(64), "ok 5 01234");

        EXPECT_EQ(m_qsn->Config(setItem, nullptr, nullptr), E_POINTER);
        EXPECT_EQ(m_qsn->Config(getItem, nullptr, nullptr), E_INVALIDARG);
        EXPECT_TRUE(SharedValues::Has(value));
        uint32_t anything = 7;
        ASSERT_EQ(m_qsn->Config(setItem, nullptr, &anything), S_OK);
        EXPECT_FALSE(SharedValues::Has(value));
        ASSERT_EQ(set("x", 0), S_OK);
        EXPECT_FALSE(SharedValues::Has(value));
    }
}

}  // namespace
