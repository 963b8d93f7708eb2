#include "sso/CheckSingleSignOn.h"

#include <mutex>
#include <utility>

#include "Utility/Guard.h"
#include "Utility/Trace.h"

namespace qsn {
namespace {

constexpr DWORD kCheckInterval = 1000;  // ms

}  // namespace

CheckSingleSignOn::~CheckSingleSignOn() { UninitIfStarted(); }

HRESULT CheckSingleSignOn::Init(SSOCallback* callback) {
    TraceA("CheckSingleSignOn::Init");
    const std::lock_guard lock(m_lifecycleLock);
    // Without a listener there is nothing to watch for.
    if (callback && !m_watching && !Start()) return E_FAIL;
    m_watching = m_watching || callback;
    SetCallback(callback);
    m_started = true;
    return S_OK;
}

HRESULT CheckSingleSignOn::Uninit() {
    const std::lock_guard lock(m_lifecycleLock);
    SetCallback(nullptr);
    RequestStop();
    Join();
    m_watching = false;
    m_started = false;
    return S_OK;
}

void CheckSingleSignOn::UninitIfStarted() {
    TraceA("CheckSingleSignOn::Uninit");
    const std::lock_guard lock(m_lifecycleLock);
    if (m_started) Uninit();
}

void CheckSingleSignOn::SetCallback(SSOCallback* callback) {
    const std::lock_guard lock(m_storeLock);
    m_callback = callback;
}

DWORD CheckSingleSignOn::ThreadProc() {
    TraceA("CheckSingleSignOn thread: start");
    while (!WaitForStopRequest(kCheckInterval)) {
        Guarded([&] {
            Check();
            return S_OK;
        });
    }
    TraceA("CheckSingleSignOn thread: quit");
    return 0;
}

void CheckSingleSignOn::Check() {
    const std::lock_guard lock(m_storeLock);
    const StoreStatus before = m_signOn.status;
    const StoreStatus status = GetSingleSignOnToken().Status();
    if (status != StoreStatus::kUnknown) {
        m_signOn.status = status;
        if (before != StoreStatus::kUnknown && before != status &&
            !Raise(status == StoreStatus::kExists ? SSOEvent::kTokenSet : SSOEvent::kTokenClear, nullptr)) {
            m_signOn.status = before;
        }
    }

    const StoreReading<std::string> member = GetMemberToken();
    CheckText(m_member, member.Status(), member.value, SSOEvent::kMemberTokenSet, SSOEvent::kMemberTokenClear);
    CheckRefreshToken();
}

void CheckSingleSignOn::CheckRefreshToken() {
    // To decrypt what has not changed would be most of a look's work.
    std::optional<std::string> encrypted = EncryptedRefreshToken();
    if (encrypted && encrypted == m_refresh.encrypted) return;
    const StoreReading<SecretText> token = GetRefreshToken();
    const bool told = CheckText(m_refresh, token.Status(), token.value.Text(), SSOEvent::kRefreshTokenSet,
                                SSOEvent::kRefreshTokenClear);
    if (told && token.result == S_OK) m_refresh.encrypted = std::move(encrypted);
}

bool CheckSingleSignOn::CheckText(Seen& seen, StoreStatus status, const std::string& text, SSOEvent set,
                                  SSOEvent clear) {
    const StoreStatus before = seen.status;
    if (status == StoreStatus::kUnknown) return false;
    if (status == StoreStatus::kNotExist) {
        if (before == StoreStatus::kExists && !Raise(clear, nullptr)) return false;
        seen.Forget();
        return true;
    }
    if (seen.Knows(text)) return true;
    if (!Raise(set, text.c_str())) return false;
    seen.Remember(text);
    return true;
}

bool CheckSingleSignOn::Raise(SSOEvent event, const char* data) {
    return !m_callback || SUCCEEDED(m_callback->SSOCallbackEvent(static_cast<int>(event), data));
}

}  // namespace qsn
