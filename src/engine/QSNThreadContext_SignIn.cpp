#include "Utility/Guard.h"
#include "Utility/Trace.h"
#include "engine/QSNThreadContext.h"
#include "protocol/Endpoints.h"
#include "protocol/ResultCodes.h"

namespace qsn {

std::string QSNThreadContext::SignInURL() const {
    // Neither part is escaped: the login page takes the SID as the host wrote it.
    return LoginPageURL(m_state.useTestbed) + "?SID=" + m_state.productSID;
}

Outcome<SecretText> QSNThreadContext::GetSignInURL() const { return {S_OK, SecretText(SignInURL())}; }

Outcome<SecretText> QSNThreadContext::GetAccessToken() const {
    if (m_state.accessToken.IsEmpty()) return {QSN_RETURN_E_NO_TOKEN};
    return {S_OK, SecretText(m_state.accessToken.Text())};
}

HRESULT QSNThreadContext::SignIn(Origin origin) {
    const int action = origin == Origin::kSingleSignOn ? QSN_ACTION_SSO_SIGNIN_RESULT : QSN_ACTION_SIGNIN_RESULT;
    // Whether the service still accepts the token shows with the first request.
    if (!m_state.accessToken.IsEmpty()) {
        DoCallback(action, QSN_CALLBACK_OK, nullptr);
        return S_OK;
    }
    std::string url;
    const HRESULT hr = Guarded([&] {
        url = SignInURL();
        return S_OK;
    });
    // No address, no result that promises one.
    SUCCEEDED(hr) ? DoCallback(action, QSN_CALLBACK_NOT_SIGNED_IN, url.data())
                  : DoCallback(action, QSN_CALLBACK_NETWORK_OR_UNKNOWN, nullptr);
    return QSN_RETURN_E_NO_TOKEN;
}

HRESULT QSNThreadContext::SignOut(Origin origin, const std::string& memberToken, const std::string& refreshToken) {
    m_usageLog.LogA("SignOut");
    if (!m_initialised) return QSN_RETURN_E_NOT_INITIALIZED;
    const int action = origin == Origin::kSingleSignOn ? QSN_ACTION_SSO_SIGNOUT_RESULT : QSN_ACTION_SIGNOUT_RESULT;
    if (m_state.accessToken.IsEmpty()) {
        DoCallback(action, QSN_CALLBACK_NOT_SIGNED_IN, nullptr);
        return QSN_RETURN_E_NO_TOKEN;
    }
    int code = QSN_CALLBACK_NETWORK_OR_UNKNOWN;
    if (m_networkProbe.IsNetworkAlive()) {
        Report().result = Guarded([&] { return OnlineSignOut(memberToken, refreshToken); });
        code = HRESULT2CallbackResult(Report().result);
    } else {
        TraceA("Sign Out: network not available!! \n");
        m_usageLog.Log(L"Sign Out: Network not available");
        Report().error = TransferError::kOffline;
    }
    // Whatever the service made of it: a user who signs out here is signed out here.
    SetAccessToken({});
    DoCallback(action, code, nullptr);
    return S_OK;
}

}  // namespace qsn
