#pragma once

#include <windows.h>

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "Utility/SecretText.h"
#include "Utility/Win32Owners.h"
#include "sso/SSOCallback.h"
#include "sso/TokenPrint.h"
#include "thread/PVWorkerThread.h"

namespace qsn {

enum class StoreStatus : std::uint32_t { kUnknown = 0, kNotExist = 1, kExists = 2 };

// The tokens that the suite's applications share through the user's registry, and a watcher thread that looks once a
// second whether another application has changed them.
//
// Any thread may call anything, but `Init`, `Uninit` and the destructor wait for the watcher and must not be called
// from its callback. Reading and writing work with and without the watcher. What is written through this object never
// comes back as an event. Lock order: lifecycle lock, then store lock; the watcher takes the store lock only, and holds
// it while it calls the callback.
class CheckSingleSignOn final : public PVWorkerThread {
public:
    CheckSingleSignOn() = default;
    ~CheckSingleSignOn() override;

    // Starts the watcher; one that runs already goes on. `callback`, not owned, must live until `Uninit`. Null starts
    // no thread. E_FAIL: there is none to be had.
    HRESULT Init(SSOCallback* callback);
    // Ends it. No event is under way or comes once this has returned. Always 0.
    HRESULT Uninit();
    // `Uninit` with its line in the trace, which comes even where there is nothing to end.
    void UninitIfStarted();

    // An empty token clears. Tokens end at their first NUL. E_INVALIDARG: too long, and nothing is written;
    // E_UNEXPECTED: could not be encrypted; else 0 or the registry's error number.
    HRESULT SetSingleSignOnToken(std::string_view token);
    HRESULT SetMemberToken(std::string_view token);
    HRESULT SetRefreshToken(std::string_view token);
    HRESULT SetPublicKey(std::string_view key);
    HRESULT SetPublicID(std::uint32_t id);

    // S_OK; S_FALSE, with an empty token, where there is none; E_INVALIDARG for a null argument; any other failure,
    // with the status unknown, where it could not be looked at. A value that can never be decrypted here is deleted,
    // and there is none then.
    HRESULT GetSingleSignOnToken(SecretText* token, StoreStatus* status);
    HRESULT GetMemberToken(std::string* token, StoreStatus* status);
    HRESULT GetRefreshToken(SecretText* token, StoreStatus* status);
    // E_FAIL where there is none; other failures as above.
    HRESULT GetPublicKey(std::string* key);
    HRESULT GetPublicID(std::uint32_t* id);

    // For who follows the sign-out of another application, which may have been followed by a sign-in already: the
    // member and the refresh token as far as they are still those that were seen before, else empty. The same failures.
    HRESULT GetTokensSeenBefore(std::string* member, SecretText* refresh);
    // Deletes these and no others.
    void ClearTokensSeenBefore();

private:
    // What the watcher knows of a value: as it saw or we wrote it last.
    struct Watched {
        StoreStatus status = StoreStatus::kUnknown;
        TokenPrint print;
        std::optional<std::string> encrypted;  // as it lay in the registry when the watcher decrypted it last

        void Remember(std::string_view token) noexcept {
            status = StoreStatus::kExists;
            print = TokenPrint(token);
            encrypted.reset();
        }
        void Forget() noexcept {
            status = StoreStatus::kNotExist;
            encrypted.reset();
        }
        void NoteFirstLook(StoreStatus seen, std::string_view token) noexcept {
            if (status != StoreStatus::kUnknown) return;
            if (seen == StoreStatus::kExists) Remember(token);
            if (seen == StoreStatus::kNotExist) Forget();
        }
        // A token that was merely extended is the same one to the suite.
        bool Knows(std::string_view token) const noexcept {
            return status == StoreStatus::kExists && print.IsBeginningOf(token);
        }
    };

    DWORD ThreadProc() override;
    void Check();
    void CheckRefreshToken();
    static std::optional<std::string> EncryptedRefreshToken();
    // True where the host knows as much as we do.
    bool CheckText(Watched& watched, StoreStatus status, const std::string& text, SSOEvent set, SSOEvent clear);
    // False where the event could not be passed on: the next look finds it again.
    bool Raise(SSOEvent event, const char* data);
    void SetCallback(SSOCallback* callback);

    CriticalSection m_lifecycleLock;  // one `Init` or `Uninit` at a time
    bool m_started = false;
    bool m_watching = false;
    CriticalSection m_storeLock;  // guards what follows, and is held for the whole of every read, write and check
    Watched m_signOn;             // its text is never compared
    Watched m_member;
    Watched m_refresh;
    SSOCallback* m_callback = nullptr;
};

}  // namespace qsn
