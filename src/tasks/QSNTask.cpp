#include "tasks/QSNTask.h"

#include <utility>

namespace qsn {
namespace {

constexpr std::size_t kMaxAccessTokenLength = 63;

bool BringsText(int notifyId) {
    return notifyId == QSN_NOTIFY_MEMBER_TOKEN_SET || notifyId == QSN_NOTIFY_REFRESH_TOKEN_SET;
}

}  // namespace

HRESULT QSNTaskBase::GetResultString(std::string*) { return S_OK; }

HRESULT QSNTextTask::GetResultString(std::string* text) {
    if (!text) return E_POINTER;
    *text = m_strResult.Text();
    return S_OK;
}

SignInTask::SignInTask(std::string_view token, std::uint32_t bySingleSignOn)
    : QSNTaskBase("SignInTask::SignInTask"), m_strToken(token), m_nBySingleSignOn(bySingleSignOn) {}

HRESULT SignInTask::RunIn(QSNThreadContext& context) {
    // Silent towards the host, which only ever gets tokens of this length by mistake.
    if (m_strToken.Text().size() > kMaxAccessTokenLength) return E_INVALIDARG;
    if (!m_strToken.IsEmpty()) context.SetAccessToken(std::move(m_strToken));
    return context.SignIn(m_nBySingleSignOn != 0);
}

SignOutTask::SignOutTask(std::uint32_t bySingleSignOn, std::string memberToken, SecretText refreshToken)
    : QSNTaskBase("SignOutTask::SignOutTask"),
      m_nBySingleSignOn(bySingleSignOn),
      m_strMemberToken(std::move(memberToken)),
      m_strRefreshToken(std::move(refreshToken)) {}

HRESULT SignOutTask::RunIn(QSNThreadContext& context) {
    return context.SignOut(m_nBySingleSignOn != 0, m_strMemberToken, m_strRefreshToken.Text());
}

NotifyMessageTask::NotifyMessageTask(int id, const char* text)
    : QSNTaskBase("NotifyMessageTask::NotifyMessageTask"), m_nId(id), m_strText(BringsText(id) && text ? text : "") {}

HRESULT NotifyMessageTask::RunIn(QSNThreadContext& context) {
    // The host's data is not const, though nobody expects it to be written to.
    void* const data = BringsText(m_nId) ? const_cast<char*>(m_strText.Text().c_str()) : nullptr;
    return context.DoCallback(QSN_ACTION_NOTIFY, m_nId, data);
}

GetAccTokenTask::GetAccTokenTask() : QSNTextTask("GetAccTokenTask::GetAccTokenTask") {}

HRESULT GetAccTokenTask::RunIn(QSNThreadContext& context) {
    if (context.AccessToken().empty()) return QSN_RETURN_E_NO_TOKEN;
    m_strResult = SecretText(context.AccessToken());
    return S_OK;
}

GetSignInURLTask::GetSignInURLTask() : QSNTextTask("GetSignInURLTask::GetSignInURLTask") {}

HRESULT GetSignInURLTask::RunIn(QSNThreadContext& context) {
    m_strResult = SecretText(context.GetSignInURL());
    return S_OK;
}

GetUserInfoTask::GetUserInfoTask() : QSNTaskBase("GetUserInfoTask::GetUserInfoTask") {}

HRESULT GetUserInfoTask::RunIn(QSNThreadContext& context) { return context.GetUserInfoCmdProc(); }

GetProductListTask::GetProductListTask(std::uint32_t version)
    : QSNTaskBase("GetProductListTask::GetProductListTask"), m_nVersion(version) {}

HRESULT GetProductListTask::RunIn(QSNThreadContext& context) {
    return m_nVersion == 0 ? context.GetProductListCmdProc() : context.GetProductListV2CmdProc();
}

GIQueryTask::GIQueryTask() : QSNTaskBase("GIQueryTask::GIQueryTask") {}

HRESULT GIQueryTask::RunIn(QSNThreadContext& context) { return context.GIQueryProc(); }

CheckTokenValidTask::CheckTokenValidTask(std::uint32_t singleSignOn)
    : QSNTaskBase("CheckTokenValidTask::CheckTokenValidTask"), m_nSingleSignOn(singleSignOn) {}

HRESULT CheckTokenValidTask::RunIn(QSNThreadContext& context) {
    return context.CheckTokenValidCmdProc(m_nSingleSignOn != 0);
}

GILogTask::GILogTask() : QSNTaskBase("GILogTask::GILogTask") {}

HRESULT GILogTask::RunIn(QSNThreadContext& context) { return context.GILogProc(); }

}  // namespace qsn
