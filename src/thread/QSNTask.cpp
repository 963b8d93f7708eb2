#include "thread/QSNTask.h"

#include <utility>

namespace qsn {
namespace {

constexpr std::size_t kMaxAccessTokenLength = 63;

}  // namespace

HRESULT QSNTaskBase::GetResultString(std::string*) { return S_OK; }

HRESULT QSNTextTask::GetResultString(std::string* text) {
    if (!text) return E_POINTER;
    *text = m_strResult;
    return S_OK;
}

SignInTask::SignInTask(std::string token, std::uint32_t bySingleSignOn)
    : QSNTaskBase("SignInTask::SignInTask"), m_strToken(std::move(token)), m_nBySingleSignOn(bySingleSignOn) {}

HRESULT SignInTask::RunIn(QSNThreadContext& context) {
    // Silent towards the host, which only ever gets tokens of this length by mistake.
    if (m_strToken.size() > kMaxAccessTokenLength) return E_INVALIDARG;
    if (!m_strToken.empty()) context.SetAccessToken(m_strToken);
    return context.SignIn(m_nBySingleSignOn != 0);
}

GetAccTokenTask::GetAccTokenTask() : QSNTextTask("GetAccTokenTask::GetAccTokenTask") {}

HRESULT GetAccTokenTask::RunIn(QSNThreadContext& context) {
    if (context.AccessToken().empty()) return QSN_RETURN_E_NO_TOKEN;
    m_strResult = context.AccessToken();
    return S_OK;
}

GetSignInURLTask::GetSignInURLTask() : QSNTextTask("GetSignInURLTask::GetSignInURLTask") {}

HRESULT GetSignInURLTask::RunIn(QSNThreadContext& context) {
    m_strResult = context.GetSignInURL();
    return S_OK;
}

GetUserInfoTask::GetUserInfoTask() : QSNTaskBase("GetUserInfoTask::GetUserInfoTask") {}

HRESULT GetUserInfoTask::RunIn(QSNThreadContext& context) { return context.GetUserInfoCmdProc(); }

}  // namespace qsn
