#include <gtest/gtest.h>

#include <windows.h>

#include <sddl.h>

#include <chrono>

#include "SwitchedOnTrace.h"
#include "engine/QSNThreadContext.h"
#include "sso/CheckSingleSignOn.h"
#include "support/RecordingCallback.h"
#include "support/SharedValues.h"

namespace {

using qsn::CheckSingleSignOn;
using qsn::SecretText;
using qsn::StoreStatus;
using qsn::test::SharedValues;
using Raw = SharedValues::Raw;

// The store on the registry of the prefix, which no other test may use meanwhile.
class TokenStore : public testing::Test {
protected:
    // Result, status and text of a reader in one line.
    template <class Text>
    std::string Get(HRESULT (CheckSingleSignOn::*reader)(Text*, StoreStatus*)) {
        Text token;
        StoreStatus status = StoreStatus::kUnknown;
        const HRESULT hr = (m_store.*reader)(&token, &status);
        std::string text;
        if constexpr (std::is_same_v<Text, SecretText>) {
            text = token.Text();
        } else {
            text = token;
        }
        return std::to_string(hr) + " " + std::to_string(static_cast<int>(status)) + " " + text;
    }
    std::string SignOn() { return Get(&CheckSingleSignOn::GetSingleSignOnToken); }
    std::string Member() { return Get(&CheckSingleSignOn::GetMemberToken); }
    std::string Refresh() { return Get(&CheckSingleSignOn::GetRefreshToken); }

    SharedValues m_values;
    CheckSingleSignOn m_store;
};

const std::string kAbsent = "1 1 ";
const std::string kTwoLines = "a token of more than fifty-seven bytes needs a second line in the registry";

TEST_F(TokenStore, WritesWhatTheOtherApplicationsRead) {
    ASSERT_EQ(m_store.SetSingleSignOnToken("token-ada"), S_OK);
    EXPECT_EQ(SharedValues::Read("SSO"), (Raw{REG_SZ, "dG9rZW4tYWRh"})) << "no terminator";
    ASSERT_EQ(m_store.SetMemberToken(kTwoLines), S_OK);
    EXPECT_EQ(SharedValues::Read("mTok"), (Raw{REG_SZ, SharedValues::Base64Lines(kTwoLines)}));
    ASSERT_EQ(m_store.SetRefreshToken(kTwoLines), S_OK);
    EXPECT_EQ(SharedValues::Decrypt("rTok"), kTwoLines);
    ASSERT_EQ(m_store.SetPublicKey("-----BEGIN"), S_OK);
    EXPECT_EQ(SharedValues::Decrypt("pubK"), "-----BEGIN");
    ASSERT_EQ(m_store.SetPublicID(0x01020304), S_OK);
    EXPECT_EQ(SharedValues::Read("pubID"), (Raw{REG_DWORD, "\x04\x03\x02\x01"}));

    EXPECT_EQ(SignOn(), "0 2 token-ada");
    EXPECT_EQ(Member(), "0 2 " + kTwoLines);
    EXPECT_EQ(Refresh(), "0 2 " + kTwoLines);
    std::string key;
    std::uint32_t id = 0;
    EXPECT_EQ(m_store.GetPublicKey(&key), S_OK);
    EXPECT_EQ(m_store.GetPublicID(&id), S_OK);
    EXPECT_EQ(key, "-----BEGIN");
    EXPECT_EQ(id, 0x01020304u);
}

TEST_F(TokenStore, AnEmptyTokenClearsAndMayDoSoTwice) {
    m_store.SetSingleSignOnToken("x");
    m_store.SetMemberToken("x");
    m_store.SetRefreshToken("x");
    m_store.SetPublicKey("x");
    for (int round = 0; round < 2; ++round) {
        EXPECT_EQ(m_store.SetSingleSignOnToken({}), S_OK);
        EXPECT_EQ(m_store.SetMemberToken(std::string_view("\0x", 2)), S_OK) << "it ends at its NUL";
        EXPECT_EQ(m_store.SetRefreshToken({}), S_OK);
        EXPECT_EQ(m_store.SetPublicKey({}), S_OK);
        for (const char* name : {"SSO", "mTok", "rTok", "pubK"}) EXPECT_FALSE(SharedValues::Has(name)) << name;
    }
    std::string key;
    std::uint32_t id = 0;
    EXPECT_EQ(SignOn(), kAbsent);
    EXPECT_EQ(Member(), kAbsent);
    EXPECT_EQ(Refresh(), kAbsent);
    EXPECT_EQ(m_store.GetPublicKey(&key), E_FAIL);
    EXPECT_EQ(m_store.GetPublicID(&id), E_FAIL);
}

TEST_F(TokenStore, TheLongestTokensFitAndLongerOnesChangeNothing) {
    const std::string longest(747, 's');
    ASSERT_EQ(m_store.SetSingleSignOnToken(longest), S_OK);
    EXPECT_EQ(SignOn(), "0 2 " + longest.substr(0, 259));
    EXPECT_EQ(m_store.SetSingleSignOnToken(longest + "s"), E_INVALIDARG);
    EXPECT_EQ(SharedValues::Read("SSO"), (Raw{REG_SZ, SharedValues::Base64Lines(longest)}));

    const std::string member(1497, 'm');
    ASSERT_EQ(m_store.SetMemberToken(member), S_OK);
    EXPECT_EQ(m_store.SetMemberToken(member + "m"), E_INVALIDARG);
    EXPECT_EQ(Member(), "0 2 " + member);

    ASSERT_EQ(m_store.SetRefreshToken("r"), S_OK);
    EXPECT_EQ(m_store.SetRefreshToken(std::string(1497, 'r')), E_INVALIDARG) << "encryption adds to it";
    EXPECT_EQ(Refresh(), "0 2 r");
    EXPECT_EQ(m_store.SetPublicKey(std::string(3000, 'k')), E_INVALIDARG);
    EXPECT_FALSE(SharedValues::Has("pubK"));
}

TEST_F(TokenStore, WhatOtherProgramsWriteIsReadOrTakenForAbsent) {
    const std::string token = SharedValues::Base64Lines("token");
    struct {
        const char* what;
        DWORD type;
        std::string data;
        std::string expected;
    } const cases[] = {
        {"no terminator", REG_SZ, token, "0 2 token"},
        {"terminator", REG_SZ, token + '\0', "0 2 token"},
        {"text behind the terminator", REG_SZ, token + '\0' + token, "0 2 token"},
        {"other line breaks", REG_SZ, "dG9r\nZW4=\r\n", "0 2 token"},
        {"no padding", REG_SZ, "dG9rZW4", "0 2 token"},
        {"a NUL in the token", REG_SZ, SharedValues::Base64Lines({"to\0ken", 6}), "0 2 to"},
        {"no bytes", REG_SZ, "", "0 2 "},
        {"a terminator alone", REG_SZ, std::string(1, '\0'), "0 2 "},
        {"no Base64", REG_SZ, "!\xff?*-", "0 2 "},
        {"number", REG_DWORD, "abcd", kAbsent},
        {"binary", REG_BINARY, token, kAbsent},
        {"list of texts", REG_MULTI_SZ, token + '\0' + '\0', kAbsent},
        {"longer than any buffer", REG_SZ, std::string(2049, 'A'), kAbsent},
        {"much longer", REG_SZ, std::string(8000, 'A'), kAbsent},
    };
    for (const auto& each : cases) {
        SharedValues::Write("SSO", each.data, each.type);
        SharedValues::Write("mTok", each.data, each.type);
        SharedValues::Write("rTok", each.data, each.type);
        SharedValues::Write("pubK", each.data, each.type);
        EXPECT_EQ(SignOn(), each.expected) << each.what;
        EXPECT_EQ(Member(), each.expected) << each.what;
        EXPECT_EQ(Refresh(), kAbsent) << each.what;
        std::string key;
        EXPECT_EQ(m_store.GetPublicKey(&key), E_FAIL) << each.what;
        const bool unreadable = each.expected == kAbsent;
        EXPECT_EQ(SharedValues::Has("rTok"), unreadable) << each.what << ": only what cannot be decrypted goes";
        EXPECT_EQ(SharedValues::Has("pubK"), unreadable) << each.what;
    }
    for (const char* data : {"", "123", "12345"}) {
        std::uint32_t id = 7;
        SharedValues::Write("pubID", data, REG_DWORD);
        EXPECT_EQ(m_store.GetPublicID(&id), E_FAIL) << data;
        EXPECT_EQ(id, 7u);
    }
}

// Takes the right to write away from everybody, until the end.
class ReadOnlyKey {
public:
    ReadOnlyKey() {
        RegOpenKeyExA(HKEY_CURRENT_USER, "Software\\Quillfern\\QSN", 0, WRITE_DAC | READ_CONTROL, &m_key);
        Allow("D:P(A;;KRRCWD;;;WD)");
    }
    ReadOnlyKey(const ReadOnlyKey&) = delete;
    ReadOnlyKey& operator=(const ReadOnlyKey&) = delete;
    ~ReadOnlyKey() {
        Allow("D:P(A;;KA;;;WD)");
        RegCloseKey(m_key);
    }

private:
    void Allow(const char* rights) {
        PSECURITY_DESCRIPTOR descriptor = nullptr;
        ConvertStringSecurityDescriptorToSecurityDescriptorA(rights, SDDL_REVISION_1, &descriptor, nullptr);
        RegSetKeySecurity(m_key, DACL_SECURITY_INFORMATION, descriptor);
        LocalFree(descriptor);
    }

    HKEY m_key = nullptr;
};

TEST_F(TokenStore, AKeyThatCannotBeWrittenIsReportedAndRead) {
    m_store.SetMemberToken("before");
    const ReadOnlyKey readOnly;
    EXPECT_EQ(m_store.SetSingleSignOnToken("x"), ERROR_ACCESS_DENIED);
    EXPECT_EQ(m_store.SetMemberToken({}), ERROR_ACCESS_DENIED);
    EXPECT_EQ(m_store.SetRefreshToken("x"), ERROR_ACCESS_DENIED);
    EXPECT_EQ(m_store.SetPublicID(1), ERROR_ACCESS_DENIED);
    EXPECT_EQ(Member(), "0 2 before");
}

TEST_F(TokenStore, AMissingKeyReadsAsAbsentAndIsCreated) {
    RegDeleteTreeA(HKEY_CURRENT_USER, "Software\\Quillfern");
    EXPECT_EQ(SignOn(), kAbsent);
    EXPECT_EQ(Refresh(), kAbsent);
    EXPECT_EQ(m_store.SetMemberToken({}), S_OK);
    EXPECT_EQ(m_store.SetMemberToken("m"), S_OK);
    EXPECT_EQ(Member(), "0 2 m");
}

TEST_F(TokenStore, TracesUnderTheNamesThatSupportKnows) {
    std::vector<std::string> lines;
    {
        const qsn::test::SwitchedOnTrace trace;
        m_store.SetSingleSignOnToken("abc");
        m_store.SetSingleSignOnToken({});
        m_store.SetMemberToken("def");
        m_store.SetMemberToken({});
        m_store.SetRefreshToken("secret");
        m_store.SetRefreshToken({});
        m_store.SetPublicKey({});
        Member();
        Refresh();
        SharedValues::Write("rTok", "AAAA");
        Refresh();
        std::string key;
        m_store.GetPublicKey(&key);
        std::uint32_t id = 0;
        m_store.GetPublicID(&id);
        lines = trace.Lines();
    }
    const std::vector<std::string> expected = {
        "SetSingleSignOnToken: abc",
        "SetSingleSignOnToken: NULL",
        "SetMemberToken: def",
        "SetMemberToken: NULL",
        "SetRefreshToken: NULL",
        "SetPublicKey: NULL",
        "[ERR] GetMemberToken SS_STATUS_NOT_EXIST\n",
        "[ERR] GetRefreshToken SS_STATUS_NOT_EXIST\n",
        "[CheckSingleSignOn] CryptUnprotectData error!!\n",
        "[ERR] GetRefreshToken SS_STATUS_NOT_EXIST\n",
        "[ERR] GetPublicKey SS_STATUS_NOT_EXIST\n",
        "[ERR] GetPublicID key is not exist.\n",
    };
    EXPECT_EQ(lines, expected);
}

TEST_F(TokenStore, WantsItsOutputs) {
    std::string token;
    SecretText secret;
    StoreStatus status{};
    EXPECT_EQ(m_store.GetSingleSignOnToken(nullptr, &status), E_INVALIDARG);
    EXPECT_EQ(m_store.GetSingleSignOnToken(&token, nullptr), E_INVALIDARG);
    EXPECT_EQ(m_store.GetMemberToken(nullptr, &status), E_INVALIDARG);
    EXPECT_EQ(m_store.GetRefreshToken(&secret, nullptr), E_INVALIDARG);
}

TEST_F(TokenStore, ServesTheSessionCallByCall) {
    qsn::test::RecordingCallback callback;
    qsn::QSNThreadContext context;
    std::string member = "old";
    SecretText refresh;
    std::string key;
    std::uint32_t id = 0;
    EXPECT_EQ(context.GetMemberTokenFromReg(&member), E_FAIL);
    EXPECT_EQ(context.GetRefreshTokenFromReg(&refresh), E_FAIL);
    EXPECT_EQ(context.GetPublicKeyAndIDFromReg(&key, &id), E_FAIL);
    SharedValues::WriteToken("mTok", "member");
    SharedValues::WriteProtected("rTok", "refresh");
    ASSERT_EQ(context.SetPublicKeyAndIDFromReg("key", 9), S_OK);

    constexpr int kRounds = 10;
    const auto start = std::chrono::steady_clock::now();
    for (int round = 0; round < kRounds; ++round) {
        ASSERT_EQ(context.GetMemberTokenFromReg(&member), S_OK);
        ASSERT_EQ(context.GetRefreshTokenFromReg(&refresh), S_OK);
        ASSERT_EQ(context.GetPublicKeyAndIDFromReg(&key, &id), S_OK);
    }
    const std::chrono::duration<double, std::milli> each = (std::chrono::steady_clock::now() - start) / (3 * kRounds);
    RecordProperty("millisecondsPerCall", std::to_string(each.count()));
    EXPECT_LT(each.count(), 40) << "a call must not wait for its watcher to wake up";
    EXPECT_EQ(member, "member");
    EXPECT_EQ(refresh.Text(), "refresh");
    EXPECT_EQ(key, "key");
    EXPECT_EQ(id, 9u);
}

}  // namespace
