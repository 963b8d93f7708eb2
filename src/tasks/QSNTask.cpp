#include "tasks/QSNTask.h"

#include <utility>

namespace qsn {
namespace {

constexpr std::size_t kMaxAccessTokenLength = 63;

bool BringsText(int notifyId) {
    return notifyId == QSN_NOTIFY_MEMBER_TOKEN_SET || notifyId == QSN_NOTIFY_REFRESH_TOKEN_SET;
}

}  // namespace

SignInTask::SignInTask(std::string_view token, Origin origin)
    : QSNTaskBase("SignInTask"), m_strToken(token), m_origin(origin) {}

HRESULT SignInTask::RunIn(QSNThreadContext& context) {
    // Silent towards the host, which only ever gets tokens of this length by mistake.
    if (m_strToken.Text().size() > kMaxAccessTokenLength) return E_INVALIDARG;
    if (!m_strToken.IsEmpty()) context.SetAccessToken(std::move(m_strToken));
    return context.SignIn(m_origin);
}

SignOutTask::SignOutTask(Origin origin, std::string memberToken, SecretText refreshToken)
    : QSNTaskBase("SignOutTask"),
      m_origin(origin),
      m_strMemberToken(std::move(memberToken)),
      m_strRefreshToken(std::move(refreshToken)) {}

HRESULT SignOutTask::RunIn(QSNThreadContext& context) {
    return context.SignOut(m_origin, m_strMemberToken, m_strRefreshToken.Text());
}

RequestTask::RequestTask(UniqueCom<Request> request, QSNThreadContext::Work work)
    : QSNTaskBase("RequestTask"), m_request(std::move(request)), m_work(std::move(work)) {}

void RequestTask::Drop() {
    m_request->Cancel();
    QSNTaskBase::Drop();
}

NotifyMessageTask::NotifyMessageTask(int id, const char* text)
    : QSNTaskBase("NotifyMessageTask"), m_nId(id), m_strText(BringsText(id) && text ? text : "") {}

HRESULT NotifyMessageTask::RunIn(QSNThreadContext& context) {
    // The host's data is not const, though nobody expects it to be written to.
    void* const data = BringsText(m_nId) ? const_cast<char*>(m_strText.Text().c_str()) : nullptr;
    return context.DoCallback(QSN_ACTION_NOTIFY, m_nId, data);
}

CheckTokenValidTask::CheckTokenValidTask(bool singleSignOn)
    : QSNTaskBase("CheckTokenValidTask"), m_singleSignOn(singleSignOn) {}

HRESULT CheckTokenValidTask::RunIn(QSNThreadContext& context) { return context.CheckTokenValidCmdProc(m_singleSignOn); }

}  // namespace qsn
