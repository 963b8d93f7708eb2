#pragma once

#include <windows.h>

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "Utility/SecretText.h"
#include "Utility/Trace.h"
#include "Utility/Win32Owners.h"
#include "sso/TokenPrint.h"

namespace qsn {

enum class StoreStatus : std::uint32_t { kUnknown = 0, kNotExist = 1, kExists = 2 };

// The result of a look at a shared value.
template <class Value>
struct StoreReading {
    HRESULT result = S_FALSE;  // S_OK; S_FALSE if there is none; any failure if it could not be looked at
    Value value{};             // empty unless S_OK

    // Unknown if it could not be looked at: it may still be there.
    StoreStatus Status() const noexcept {
        if (FAILED(result)) return StoreStatus::kUnknown;
        return result == S_OK ? StoreStatus::kExists : StoreStatus::kNotExist;
    }
};

// The tokens that the suite's applications share through the user's registry. Any thread may call anything.
class TokenStore {
public:
    TokenStore() = default;
    TokenStore(const TokenStore&) = delete;
    TokenStore& operator=(const TokenStore&) = delete;
    ~TokenStore() = default;

    // An empty token clears. Tokens end at their first NUL. E_INVALIDARG: too long, and nothing is written;
    // E_UNEXPECTED: could not be encrypted; else 0 or the registry's error number.
    HRESULT SetSingleSignOnToken(std::string_view token);
    HRESULT SetMemberToken(std::string_view token);
    HRESULT SetRefreshToken(std::string_view token);
    HRESULT SetPublicKey(std::string_view key);
    HRESULT SetPublicID(std::uint32_t id);

    // A value that can never be decrypted here is deleted, and counts as missing.
    StoreReading<SecretText> GetSingleSignOnToken();
    StoreReading<std::string> GetMemberToken();
    StoreReading<SecretText> GetRefreshToken();
    StoreReading<std::string> GetPublicKey();
    StoreReading<std::uint32_t> GetPublicID();

    // For an application that follows the sign-out of another, when the next sign-in may have come already. The member
    // and the refresh token, each empty unless it is still the one that was seen before.
    struct Tokens {
        HRESULT result = S_OK;  // the first failure
        std::string member{};
        SecretText refresh{};
    };
    Tokens GetTokensSeenBefore();
    // Deletes only these.
    void ClearTokensSeenBefore();

protected:
    // What is known of a value since it was last seen or written here.
    struct Seen {
        StoreStatus status = StoreStatus::kUnknown;
        TokenPrint print;
        std::optional<std::string> encrypted;  // as it lay in the registry when the watcher decrypted it last

        // Hands on the result of writing `token`, or of deleting the value if `token` is empty.
        HRESULT Changed(std::string_view token, HRESULT hr) noexcept;
        void Remember(std::string_view token) noexcept;
        void Forget() noexcept;
        void NoteFirstLook(StoreStatus seen, std::string_view token) noexcept;
        // For the suite a token that was merely extended is the same one.
        bool Knows(std::string_view token) const noexcept {
            return status == StoreStatus::kExists && print.IsBeginningOf(token);
        }
    };

    // The refresh token as it lies in the registry.
    static std::optional<std::string> EncryptedRefreshToken();

    CriticalSection m_storeLock;  // guards what follows, and is held for the whole of every read, write and check
    Seen m_signOn;                // its text is never compared
    Seen m_member;
    Seen m_refresh;
};

// A store for one call. The trace has always shown the end of each, under the name of an earlier class.
class BriefTokenStore : public TokenStore {
public:
    BriefTokenStore() = default;
    BriefTokenStore(const BriefTokenStore&) = delete;
    BriefTokenStore& operator=(const BriefTokenStore&) = delete;
    ~BriefTokenStore() { TraceA("CheckSingleSignOn::Uninit"); }
};

}  // namespace qsn
