#include <algorithm>
#include <array>

#include "Utility/Guard.h"
#include "Utility/Trace.h"
#include "lib/PVQSNLib.h"

// What other applications of the suite do to the shared tokens.

namespace qsn {

HRESULT PVQSNLib::SSOCallbackEvent(int id, const char* data) {
    struct Event {
        SSOEvent event;
        const wchar_t* name;
        HRESULT (PVQSNLib::*handler)(const char* data);
    };
    static constexpr std::array kEvents{
        Event{SSOEvent::kTokenSet, L"SSO_EVENT_TOKEN_SET", &PVQSNLib::SignInFromStore},
        Event{SSOEvent::kTokenClear, L"SSO_EVENT_TOKEN_CLEAR", &PVQSNLib::SignOutFromStore},
        Event{SSOEvent::kMemberTokenSet, L"SSO_EVENT_MEMBER_TOKEN_SET", &PVQSNLib::Notify<QSN_NOTIFY_MEMBER_TOKEN_SET>},
        Event{SSOEvent::kMemberTokenClear, L"SSO_EVENT_MEMBER_TOKEN_CLEAR",
              &PVQSNLib::Notify<QSN_NOTIFY_MEMBER_TOKEN_CLEAR>},
        Event{SSOEvent::kRefreshTokenSet, L"SSO_EVENT_REFRESH_TOKEN_SET",
              &PVQSNLib::Notify<QSN_NOTIFY_REFRESH_TOKEN_SET>},
        Event{SSOEvent::kRefreshTokenClear, L"SSO_EVENT_REFRESH_TOKEN_CLEAR",
              &PVQSNLib::Notify<QSN_NOTIFY_REFRESH_TOKEN_CLEAR>},
    };
    if (!m_singleSignOnEnabled) return S_OK;
    TraceW(L"SSOCallbackEvent, ID = %d\n", id);
    const auto row = std::ranges::find(kEvents, static_cast<SSOEvent>(id), &Event::event);
    if (row == kEvents.end()) return S_OK;
    TraceW(L"SSOCallbackEvent, %s \n", row->name);
    return Guarded([&] { return (this->*row->handler)(data); });
}

HRESULT PVQSNLib::SignInFromStore(const char* /*data*/) {
    const StoreReading<SecretText> shared = m_singleSignOn.GetSingleSignOnToken();
    if (FAILED(shared.result)) return shared.result;
    return Post<SignInTask>(shared.value.Text(), Origin::kSingleSignOn);
}

// The shared token itself is gone already. What another application has set since belongs to a later sign-in, and is
// neither shown to the service nor cleared.
HRESULT PVQSNLib::SignOutFromStore(const char* /*data*/) {
    TokenStore::Tokens tokens = m_singleSignOn.GetTokensSeenBefore();
    if (FAILED(tokens.result)) return tokens.result;
    const HRESULT posted =
        Post<SignOutTask>(Origin::kSingleSignOn, std::move(tokens.member), std::move(tokens.refresh));
    if (FAILED(posted)) return posted;
    m_singleSignOn.ClearTokensSeenBefore();
    return S_OK;
}

template <int id>
HRESULT PVQSNLib::Notify(const char* data) {
    return Post<NotifyMessageTask>(id, data);
}

}  // namespace qsn
