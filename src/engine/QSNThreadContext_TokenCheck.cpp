#include "Utility/Guard.h"
#include "Utility/Trace.h"
#include "engine/QSNThreadContext.h"
#include "engine/ResultCodes.h"
#include "sso/SharedValues.h"

namespace qsn {

HRESULT QSNThreadContext::CheckTokenValidCmdProc(bool singleSignOn) {
    if (m_strAccessToken.IsEmpty()) {
        TraceA("CheckTokenValidCmdProc: no user token to check \n");
        return S_FALSE;
    }
    if (!m_networkProbe.IsNetworkAlive()) {
        TraceA("CheckTokenValidCmdProc: no network \n");
        DoCallback(QSN_ACTION_CHECK_TOKEN_ROUTINE_RESULT, QSN_CALLBACK_NETWORK_OR_UNKNOWN, nullptr);
        return S_FALSE;
    }
    const HRESULT hr = Guarded([&] { return OnlineCheckTokenValid(); });
    const int code = HRESULT2CallbackResult(hr);
    if (code > QSN_CALLBACK_NETWORK_OR_UNKNOWN) {
        if (singleSignOn) {
            TraceA("Clear SSO token due to server verify token failed\n");
            // Past the library's own store, whose watcher is to report this to the host like any other change.
            DeleteSharedValue("SSO");
        } else {
            HandleServerResult(code);
        }
    }
    DoCallback(QSN_ACTION_CHECK_TOKEN_ROUTINE_RESULT, code, nullptr);
    return hr;
}

HRESULT QSNThreadContext::EnableCheckTokenRoutine(int nextVerifyTime) {
    if (!m_pRoutineTimer) return E_UNEXPECTED;
    if (m_nCheckTokenRoutine == 0) {
        TraceA("disable routine timer of checking token, due to AP disable this function\n");
        m_pRoutineTimer->SetRoutine(0, false, 0);
        return S_OK;
    }
    TraceA("Enable routine timer to check token: nextVerifyTime = %d \n", nextVerifyTime);
    if (nextVerifyTime < 1) {
        m_pRoutineTimer->SetRoutine(0, false, 0);
    } else {
        m_pRoutineTimer->SetRoutine(kRoutineEventCheckToken, true, static_cast<std::uint32_t>(nextVerifyTime));
    }
    return S_OK;
}

// Right after the reply was read, whatever came of that: a token check always sets the routine, any other reply where
// it brings a time.
void QSNThreadContext::RearmCheckTokenRoutine(RequestType type, int serverResult, const ReplyPayload& payload) {
    if (type == RequestType::kVerifyToken) {
        EnableCheckTokenRoutine(serverResult == 0 ? payload.nextVerifyTime.value_or(0) : -1);
    } else if (payload.nextVerifyTime) {
        EnableCheckTokenRoutine(*payload.nextVerifyTime);
    }
}

}  // namespace qsn
