#include "engine/Endpoints.h"
#include "engine/QSNThreadContext.h"

namespace qsn {

std::string QSNThreadContext::GetSignInURL() const {
    // Neither part is escaped: the login page takes the SID as the host wrote it.
    return LoginPageURL(m_nUseTestbed != 0) + "?SID=" + m_strSID;
}

HRESULT QSNThreadContext::SignIn(bool bySingleSignOn) {
    const int action = bySingleSignOn ? QSN_ACTION_SSO_SIGNIN_RESULT : QSN_ACTION_SIGNIN_RESULT;
    // Whether the service still accepts the token shows with the first request.
    if (!m_strAccessToken.empty()) {
        DoCallback(action, QSN_CALLBACK_OK, nullptr);
        return S_OK;
    }
    std::string url = GetSignInURL();
    DoCallback(action, QSN_CALLBACK_NOT_SIGNED_IN, url.data());
    return QSN_RETURN_E_NO_TOKEN;
}

}  // namespace qsn
