#include "Utility/Guard.h"
#include "Utility/Trace.h"
#include "engine/QSNThreadContext.h"
#include "protocol/ResultCodes.h"
#include "sso/ConditionalChanges.h"

namespace qsn {

HRESULT QSNThreadContext::CheckTokenValidCmdProc(bool singleSignOn) {
    if (m_state.accessToken.IsEmpty()) {
        TraceA("CheckTokenValidCmdProc: no user token to check \n");
        return S_FALSE;
    }
    if (!m_networkProbe.IsNetworkAlive()) {
        TraceA("CheckTokenValidCmdProc: no network \n");
        DoCallback(QSN_ACTION_CHECK_TOKEN_ROUTINE_RESULT, QSN_CALLBACK_NETWORK_OR_UNKNOWN, nullptr);
        return S_FALSE;
    }
    const Outcome<ReplyPayload> check = Guarded([this] { return OnlineCheckTokenValid(); });
    const int code = HRESULT2CallbackResult(check.result);
    // Some codes also stand for local failures, which say nothing about the token.
    const bool isRefused = check.value.serverResult != 0 && code > QSN_CALLBACK_NETWORK_OR_UNKNOWN;
    if (isRefused) DropRefusedToken(singleSignOn, code);
    DoCallback(QSN_ACTION_CHECK_TOKEN_ROUTINE_RESULT, code, nullptr);
    return check.result;
}

void QSNThreadContext::DropRefusedToken(bool singleSignOn, int callbackResult) {
    // Another user may have signed in since the check was sent. That user's token is not refused.
    if (singleSignOn && DeleteAccessToken(m_state.accessToken.Text())) {
        TraceA("Clear SSO token due to server verify token failed\n");
    } else {
        HandleServerResult(callbackResult);
    }
}

HRESULT QSNThreadContext::EnableCheckTokenRoutine(int nextVerifyTime) {
    if (!m_pRoutineTimer) return E_UNEXPECTED;
    if (!m_state.checkTokenRoutine) {
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

// Right after the reply was read, whatever came of that. A token check always sets the routine, any other reply only if
// it brings a time.
void QSNThreadContext::RearmCheckTokenRoutine(RequestType type, const ReplyPayload& payload) {
    if (type == RequestType::kVerifyToken) {
        EnableCheckTokenRoutine(payload.serverResult == 0 ? payload.nextVerifyTime.value_or(0) : -1);
    } else if (payload.nextVerifyTime) {
        EnableCheckTokenRoutine(*payload.nextVerifyTime);
    }
}

}  // namespace qsn
