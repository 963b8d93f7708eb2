#include <gtest/gtest.h>

#include <functional>
#include <mutex>
#include <thread>

#include "sso/CheckSingleSignOn.h"
#include "sso/ConditionalChanges.h"
#include "support/ProcessState.h"
#include "support/SharedValues.h"

namespace qsn::test {
namespace {

// The store in the registry of the prefix. No other test may use that meanwhile.
class TokenStore : public testing::Test {
protected:
    // Result, status and text of a reader on one line.
    template <class Token>
    static std::string Line(const StoreReading<Token>& reading) {
        return std::to_string(reading.result) + " " + std::to_string(static_cast<int>(reading.Status())) + " " +
               TextOf(reading.value);
    }
    std::string SignOn() { return Line(m_store.GetSingleSignOnToken()); }
    std::string Member() { return Line(m_store.GetMemberToken()); }
    std::string Refresh() { return Line(m_store.GetRefreshToken()); }

    static const std::string& TextOf(const std::string& text) { return text; }
    static const std::string& TextOf(const SecretText& text) { return text.Text(); }

    SharedValues m_values;
    CheckSingleSignOn m_store;
};

TEST_F(TokenStore, TheLongestTokensFitAndLongerOnesChangeNothing) {
    const int threads = ThreadCount();
    ASSERT_EQ(m_store.Init(nullptr), S_OK);
    EXPECT_EQ(ThreadCount(), threads) << "nobody wants to be told anything";
    const std::string longest(747, 's'), member(1497, 'm');
    ASSERT_EQ(m_store.SetSingleSignOnToken(longest), S_OK);
    EXPECT_EQ(m_store.SetSingleSignOnToken(longest + "s"), E_INVALIDARG);
    EXPECT_EQ(SignOn(), "0 2 " + longest.substr(0, 259));
    EXPECT_EQ(SharedValues::Read("SSO"), (SharedValues::Raw{REG_SZ, SharedValues::Base64Lines(longest)}));
    ASSERT_EQ(m_store.SetMemberToken(member), S_OK);
    EXPECT_EQ(m_store.SetMemberToken(member + "m"), E_INVALIDARG);
    EXPECT_EQ(Member(), "0 2 " + member);
    ASSERT_EQ(m_store.SetRefreshToken("r"), S_OK);
    EXPECT_EQ(m_store.SetRefreshToken(member), E_INVALIDARG) << "encryption adds to it";
    EXPECT_EQ(Refresh(), "0 2 r");
    EXPECT_EQ(SharedValues::Decrypt("rTok"), "r");
    EXPECT_EQ(m_store.SetPublicKey(std::string(3000, 'k')), E_INVALIDARG);
    EXPECT_FALSE(SharedValues::Has("pubK"));
}

TEST_F(TokenStore, WhatOtherProgramsWriteIsReadOrTakenForAbsent) {
    const std::string token = SharedValues::Base64Lines("token"), absent = "1 1 ";
    const struct {
        const char* what;
        DWORD type;
        std::string data, expected;
    } cases[] = {
        {"no terminator", REG_SZ, token, "0 2 token"},
        {"text behind the terminator", REG_SZ, token + '\0' + token, "0 2 token"},
        {"other line breaks and no padding", REG_SZ, "dG9r\nZW4\r\n", "0 2 token"},
        {"a NUL in the token", REG_SZ, SharedValues::Base64Lines({"to\0ken", 6}), "0 2 to"},
        {"no bytes", REG_SZ, "", absent},
        {"no Base64", REG_SZ, "!\xff?*-", absent},
        {"number", REG_DWORD, "abcd", absent},
        {"list of texts", REG_MULTI_SZ, token + '\0' + '\0', absent},
        {"longer than any buffer", REG_SZ, std::string(2049, 'A'), absent},
    };
    for (const auto& each : cases) {
        for (const char* name : {"SSO", "mTok", "rTok", "pubK"}) SharedValues::Write(name, each.data, each.type);
        EXPECT_EQ(SignOn(), each.expected) << each.what;
        EXPECT_EQ(Member(), each.expected) << each.what;
        EXPECT_EQ(Refresh(), absent) << each.what;
        EXPECT_EQ(m_store.GetPublicKey().result, S_FALSE) << each.what;
        for (const char* name : {"rTok", "pubK"})
            EXPECT_EQ(SharedValues::Has(name), each.expected == absent) << "only what cannot be decrypted goes";
    }
    ASSERT_EQ(m_store.SetPublicID(0x01020304), S_OK);
    EXPECT_EQ(SharedValues::Read("pubID"), (SharedValues::Raw{REG_DWORD, "\x04\x03\x02\x01"}));
    for (const char* data : {"123", "12345"}) {
        SharedValues::Write("pubID", data, REG_DWORD);
        EXPECT_EQ(m_store.GetPublicID().result, S_FALSE) << data;
    }
}

TEST_F(TokenStore, ChangesWaitForWhoHoldsTheLockButNotForGood) {
    const UniqueHandle lock(CreateMutexW(nullptr, TRUE, L"Local\\Quillfern.QSN.SharedValues"));
    ASSERT_NE(GetLastError(), DWORD{ERROR_ALREADY_EXISTS}) << "somebody holds it";
    const std::pair<std::function<void()>, int> changes[] = {{[&] { m_store.SetSingleSignOnToken("s"); }, 1},
                                                             {[&] { m_store.SetMemberToken("m"); }, 1},
                                                             {[&] { m_store.SetRefreshToken("r"); }, 1},
                                                             {[] { ReplaceMemberToken("m", "r", "m2"); }, 2},
                                                             {[] { DeleteAccessToken("s"); }, 2},
                                                             {[&] { m_store.ClearTokensSeenBefore(); }, 3},
                                                             {[&] {
                                                                  SharedValues::WriteToken("rTok", "not decryptable");
                                                                  Refresh();
                                                              },
                                                              2}};
    for (const auto& [change, waits] : changes) {
        const ULONGLONG start = GetTickCount64();
        std::thread(change).join();
        EXPECT_GE(GetTickCount64() - start, 180u * waits)
            << "before a look that a change rests on, and before a change";
    }
    ReleaseMutex(lock.Get());
    for (const char* name : {"SSO", "mTok", "rTok"}) EXPECT_FALSE(SharedValues::Has(name)) << name;
}

// An event is noted as "3 text", or as "4" if it brings no text.
class RecordingSink final : public SSOCallback {
public:
    HRESULT SSOCallbackEvent(int id, const char* data) override {
        const std::lock_guard lock(m_mutex);
        m_events.push_back(std::to_string(id) + (data ? std::string(" ") + data : ""));
        return S_OK;
    }
    // Waits for `last`, and returns it with all events before it.
    std::vector<std::string> Until(const std::string& last) {
        std::vector<std::string> events;
        Eventually([&] {
            const std::lock_guard lock(m_mutex);
            for (std::string& event : std::exchange(m_events, {})) events.push_back(std::move(event));
            return !events.empty() && events.back() == last;
        });
        return events;
    }

private:
    std::mutex m_mutex;
    std::vector<std::string> m_events;
};

// One check reports in the order "SSO", "mTok", "rTok". So once an event of the refresh token has come, the check has
// nothing more to tell.
TEST(TokenWatcher, TellsWhatOthersDoAndNothingElse) {
    using Events = std::vector<std::string>;
    const SharedValues values;
    RecordingSink sink;
    CheckSingleSignOn store;
    const auto change = [](const char* signOn, const char* member, const char* refresh) {
        if (signOn) SharedValues::WriteToken("SSO", signOn);
        SharedValues::WriteToken("mTok", member);
        SharedValues::WriteProtected("rTok", refresh);
    };
    store.GetSingleSignOnToken();
    store.SetRefreshToken({});
    change("s0", "m0", "r0");
    ASSERT_EQ(store.Init(&sink), S_OK);
    EXPECT_EQ(sink.Until("5 r0"), (Events{"1", "5 r0"})) << "the first look only takes note of what is not known yet";
    SharedValues::Delete("SSO");
    change(nullptr, "m1", "r1");
    EXPECT_EQ(sink.Until("5 r1"), (Events{"2", "3 m1", "5 r1"}));

    store.SetMemberToken("m2");
    store.SetSingleSignOnToken("s1");
    store.SetSingleSignOnToken({});
    SharedValues::WriteProtected("rTok", "r2");
    EXPECT_EQ(sink.Until("5 r2"), (Events{"5 r2"})) << "its own writes are no news";

    change("s2", "m2-extended", "r");
    EXPECT_EQ(sink.Until("5 r"), (Events{"1", "5 r"})) << "an extended token is the same one, a shortened one is not";

    const std::string encrypted = SharedValues::Read("rTok")->data;
    store.SetRefreshToken("mine");
    SharedValues::Write("rTok", encrypted);
    EXPECT_EQ(sink.Until("5 r"), (Events{"5 r"})) << "the same bytes again, but another token in between";
    store.SetRefreshToken("mine");
    SharedValues::Delete("rTok");
    EXPECT_EQ(sink.Until("6"), Events{"6"}) << "its own token, but another's doing";
    SharedValues::Write("rTok", encrypted);
    EXPECT_EQ(sink.Until("5 r"), Events{"5 r"});

    for (const char* name : {"SSO", "mTok"}) SharedValues::Delete(name);
    SharedValues::WriteToken("rTok", "not decryptable");
    EXPECT_EQ(sink.Until("6"), (Events{"2", "4", "6"}));
    EXPECT_FALSE(SharedValues::Has("rTok"));

    store.Uninit();
    change("", "", "r3");
    ASSERT_EQ(store.Init(&sink), S_OK);
    EXPECT_EQ(sink.Until("5 r3"), (Events{"5 r3"})) << "what happened meanwhile is told after a restart";
    change(std::string(300, 's').c_str(), "m3", "r4");
    EXPECT_EQ(sink.Until("5 r4"), (Events{"1", "3 m3", "5 r4"})) << "the empty values before were none";
}

}  // namespace
}  // namespace qsn::test
