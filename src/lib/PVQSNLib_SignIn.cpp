#include <algorithm>
#include <array>

#include "Utility/Guard.h"
#include "Utility/Trace.h"
#include "lib/PVQSNLib.h"

namespace qsn {
namespace {

constexpr std::uint32_t kByHost = 0;
constexpr std::uint32_t kBySingleSignOn = 1;

struct EventName {
    SSOEvent event;
    const wchar_t* name;
};

constexpr std::array kEventNames{
    EventName{SSOEvent::kTokenSet, L"SSO_EVENT_TOKEN_SET"},
    EventName{SSOEvent::kTokenClear, L"SSO_EVENT_TOKEN_CLEAR"},
    EventName{SSOEvent::kMemberTokenSet, L"SSO_EVENT_MEMBER_TOKEN_SET"},
    EventName{SSOEvent::kMemberTokenClear, L"SSO_EVENT_MEMBER_TOKEN_CLEAR"},
    EventName{SSOEvent::kRefreshTokenSet, L"SSO_EVENT_REFRESH_TOKEN_SET"},
    EventName{SSOEvent::kRefreshTokenClear, L"SSO_EVENT_REFRESH_TOKEN_CLEAR"},
};

}  // namespace

HRESULT STDMETHODCALLTYPE PVQSNLib::SignIn(const char* token) {
    TraceW(L"Sign in\n");
    return Guarded([&]() -> HRESULT {
        if (!Worker()) return QSN_RETURN_E_NOT_INITIALIZED;
        const bool singleSignOn = m_nSingleSignOnEnabled != 0;
        SecretText candidate(token ? token : "");
        bool fromStore = false;
        if (!token && singleSignOn) {
            TraceW(L"Sign in: try single signOn\n");
            const HRESULT read = ReadSharedToken(&candidate);
            if (FAILED(read)) return read;
            fromStore = read == S_OK;
            if (fromStore) TraceA("Sign in: GET from single signOn token: %s\n", candidate.Text().c_str());
        }
        // Posted without a token too: the callback then tells the host where to sign in.
        const HRESULT posted = Post<SignInTask>(candidate.Text(), kByHost);
        if (FAILED(posted)) return posted;
        if (candidate.IsEmpty()) return QSN_RETURN_E_NO_TOKEN;
        if (singleSignOn && !fromStore) {
            TraceA("Sign in: SET single signOn token: %s\n", candidate.Text().c_str());
            m_singleSignOn.SetSingleSignOnToken(candidate.Text());
        }
        return S_OK;
    });
}

HRESULT STDMETHODCALLTYPE PVQSNLib::SignOut() {
    TraceW(L"Sign out\n");
    return Guarded([&]() -> HRESULT {
        if (!Worker()) return QSN_RETURN_E_NOT_INITIALIZED;
        StoredTokens tokens = ReadStoredTokens();
        // What the service would not be told of must not go.
        if (FAILED(tokens.memberResult)) return tokens.memberResult;
        if (FAILED(tokens.refreshResult)) return tokens.refreshResult;
        TraceA("Sign out: memtoken:%s\n", tokens.member.c_str());
        const HRESULT posted = Post<SignOutTask>(kByHost, std::move(tokens.member), std::move(tokens.refresh));
        if (FAILED(posted)) return posted;
        if (m_nSingleSignOnEnabled) m_singleSignOn.SetSingleSignOnToken({});
        m_singleSignOn.SetMemberToken({});
        m_singleSignOn.SetRefreshToken({});
        return S_OK;
    });
}

HRESULT PVQSNLib::SSOCallbackEvent(int id, const char* data) {
    if (!m_nSingleSignOnEnabled) return S_OK;
    TraceW(L"SSOCallbackEvent, ID = %d\n", id);
    const auto event = static_cast<SSOEvent>(id);
    const auto row = std::ranges::find(kEventNames, event, &EventName::event);
    if (row == kEventNames.end()) return S_OK;
    TraceW(L"SSOCallbackEvent, %s \n", row->name);
    return Guarded([&]() -> HRESULT {
        switch (event) {
            case SSOEvent::kTokenSet: {
                SecretText token;
                const HRESULT read = ReadSharedToken(&token);
                if (FAILED(read)) return read;
                return Post<SignInTask>(token.Text(), kBySingleSignOn);
            }
            case SSOEvent::kTokenClear: return SignOutFromStore();
            case SSOEvent::kMemberTokenSet: return Post<NotifyMessageTask>(QSN_NOTIFY_MEMBER_TOKEN_SET, data);
            case SSOEvent::kMemberTokenClear: return Post<NotifyMessageTask>(QSN_NOTIFY_MEMBER_TOKEN_CLEAR, nullptr);
            case SSOEvent::kRefreshTokenSet: return Post<NotifyMessageTask>(QSN_NOTIFY_REFRESH_TOKEN_SET, data);
            default: return Post<NotifyMessageTask>(QSN_NOTIFY_REFRESH_TOKEN_CLEAR, nullptr);
        }
    });
}

// The shared token itself is gone already. What another application has set since belongs to a later sign-in, and is
// neither shown to the service nor cleared.
HRESULT PVQSNLib::SignOutFromStore() {
    std::string member;
    SecretText refresh;
    const HRESULT read = m_singleSignOn.GetTokensSeenBefore(&member, &refresh);
    if (FAILED(read)) return read;
    const HRESULT posted = Post<SignOutTask>(kBySingleSignOn, std::move(member), std::move(refresh));
    if (FAILED(posted)) return posted;
    m_singleSignOn.ClearTokensSeenBefore();
    return S_OK;
}

HRESULT PVQSNLib::ReadSharedToken(SecretText* token) {
    StoreStatus status = StoreStatus::kUnknown;
    return m_singleSignOn.GetSingleSignOnToken(token, &status);
}

PVQSNLib::StoredTokens PVQSNLib::ReadStoredTokens() {
    StoredTokens tokens;
    StoreStatus status = StoreStatus::kUnknown;
    tokens.memberResult = m_singleSignOn.GetMemberToken(&tokens.member, &status);
    tokens.refreshResult = m_singleSignOn.GetRefreshToken(&tokens.refresh, &status);
    return tokens;
}

}  // namespace qsn
