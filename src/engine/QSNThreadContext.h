#pragma once

#include <qsn/qsn.h>
#include <windows.h>

#include <cstdint>
#include <string>

#include "Utility/ComOwners.h"
#include "Utility/OrbLogger.h"
#include "engine/Endpoints.h"
#include "engine/Reply.h"
#include "thread/BaseThreadContext.h"

namespace qsn {

struct CommandProcedure;
struct OnlineOperation;

// The session engine: holds the signed-in session and carries out every operation against the service.
//
// After `Init` only the worker thread touches it; `Init` and `Uninit` are called while no worker thread runs. Outcomes
// reach the host through `DoCallback`; the result codes returned here become the results of the tasks.
class QSNThreadContext : public BaseThread::BaseThreadContext {
public:
    QSNThreadContext();
    ~QSNThreadContext() override;

    // `productSID` is UTF-8. QSN_RETURN_E_ALREADY_INITIALIZED, with the session untouched, where `Init` came before.
    HRESULT Init(const char* productSID, IQSNCallbackFunc* callback);
    HRESULT Uninit();

    // Configuration item `id`: `data` is a wide text or a 32-bit value. E_INVALIDARG: null data for a known item.
    // E_NOTIMPL: unknown item.
    HRESULT SetConfig(int id, const void* data);

    const std::string& AccessToken() const noexcept { return m_strAccessToken; }
    void SetAccessToken(std::string token) { m_strAccessToken = std::move(token); }
    std::string GetSignInURL() const;

    // `bySingleSignOn`: started by another application of the suite and not by the host.
    HRESULT SignIn(bool bySingleSignOn);

    // Command procedures: 0 where the request was made, whatever came of it; E_FAIL without network; what the host's
    // callback returned where there is no access token.
    HRESULT GetUserInfoCmdProc();

    HRESULT DoCallback(int action, int result, void* data);

    // Drops the access token where a callback result says that the service no longer accepts it.
    void HandleServerResult(int callbackResult);

    int LastCallbackResult() const noexcept { return m_nLastCallbackResult; }
    const std::string& StatusText() const noexcept { return m_strStatus; }

private:
    template <class Exchange>
    HRESULT RunCommandProcedure(const CommandProcedure& procedure, Exchange&& exchange);

    // The exchanges with the service, in QSNThreadContext_ToServer.cpp.
    HRESULT OnlineGetUserInfo(UniqueCom<IQSNUserInfo>* userInfo);

    HRESULT RunOnlineOperation(const OnlineOperation& operation, const std::string& text1, const std::string& text2,
                               ReplyPayload* payload);
    HRESULT GenerateJSONData(RequestType type, const std::string& text1, const std::string& text2,
                             std::string* strJsonData);
    HRESULT CommunicateToServer(const std::string& strJsonData, std::string* strServerResponse, std::string* strToken,
                                std::string* strDigest, const std::string& serverapi, bool userAgent = false);
    HRESULT ParseJSONResult(RequestType type, const std::string& strServerResponse, const std::string& strToken,
                            const std::string& strDigest, int* serverResult, ReplyPayload* payload,
                            std::string* additionalMessage);
    HRESULT VerifyServerDigest(const std::string& strJSONResult, const std::string& strToken,
                               const std::string& strDigest);
    std::wstring MachineID() const;

    UniqueCom<IQSNCallbackFunc> m_spCallback;
    std::string m_strSID;
    std::uint32_t m_nInitialised = 0;
    std::string m_strAccessToken;  // at most 63 characters
    int m_nLastCallbackResult = 0;
    std::string m_strStatus;  // the last reported action in words, for a look into a dump
    OrbLogger m_usageLog;
    std::string m_strLanguage;
    std::string m_strExtendData;
    std::uint32_t m_nPlatformInfo = 0;
    std::uint32_t m_nCheckTokenRoutine = 0;
    std::uint32_t m_nUseTestbed = 0;
    std::wstring m_strDeviceId;  // empty where the machine has not told it at Init
    std::string m_strMemberId;   // as the member-auth address carries it; empty until user info has been read
};

}  // namespace qsn
