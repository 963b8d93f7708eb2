#pragma once

#include <qsn/qsn.h>
#include <windows.h>

#include <cstdint>
#include <string>
#include <utility>

#include "Utility/ComOwners.h"
#include "Utility/MemberCrypto.h"
#include "Utility/NetworkProbe.h"
#include "Utility/OrbLogger.h"
#include "Utility/SecretText.h"
#include "engine/RoutineTimer.h"
#include "protocol/Endpoints.h"
#include "protocol/HttpsClient.h"
#include "protocol/MessageAuthentication.h"
#include "protocol/Reply.h"
#include "thread/BaseThreadContext.h"

namespace qsn {

struct CommandProcedure;
struct MemberAuthReply;
struct OnlineOperation;

// The session engine: holds the signed-in session and carries out every operation against the service.
//
// After `Init` only the worker thread touches it, but for `BreakOff`; `Init` is called while no worker thread runs.
// Outcomes reach the host through `DoCallback`; the result codes returned here become the results of the tasks.
class QSNThreadContext : public BaseThread::BaseThreadContext {
public:
    QSNThreadContext();
    ~QSNThreadContext() override;

    // Waits for nothing: what takes its time is left to `InitOnThread`. `productSID` is UTF-8.
    // QSN_RETURN_E_ALREADY_INITIALIZED, with the session untouched, where `Init` came before.
    HRESULT Init(const char* productSID, IQSNCallbackFunc* callback);
    // Starts the routine timer, asks for the device's identity and starts the usage log, with its first line.
    bool InitOnThread() override;
    // On the worker thread, or when that has ended.
    HRESULT Uninit();

    // For the thread that ends the session: the running request is given up. Its exchange ends at once, nothing of it
    // is told or stored, and no other exchange begins. Any thread; for good.
    void BreakOff() noexcept { m_httpsClient.BreakOff(); }

    // Where the usage log is to be taken from, empty: from its usual place; before the worker thread runs. The log is
    // optional, as ever.
    void SetUsageLogFolder(std::wstring folder) noexcept { m_strUsageLogFolder = std::move(folder); }

    // Configuration item `id`: `data` is a wide text or a 32-bit value. E_INVALIDARG: null data for a known item.
    // E_NOTIMPL: unknown item.
    HRESULT SetConfig(int id, const void* data);

    const std::string& AccessToken() const noexcept { return m_strAccessToken.Text(); }
    // What is known of the user goes with the token.
    void SetAccessToken(SecretText token) noexcept {
        m_strAccessToken = std::move(token);
        m_strMemberId.clear();
    }
    std::string GetSignInURL() const;

    // `bySingleSignOn`: started by another application of the suite and not by the host.
    HRESULT SignIn(bool bySingleSignOn);

    // Ends the session, at the service too where the network allows. `bySingleSignOn` as above.
    HRESULT SignOut(bool bySingleSignOn, const std::string& memberToken, const std::string& refreshToken);

    // What the suite's applications share. Reading gives E_FAIL if there is nothing to read; writing gives the first
    // failure, and tries both values.
    HRESULT GetRefreshTokenFromReg(SecretText* token);
    HRESULT GetMemberTokenFromReg(std::string* token);
    HRESULT GetPublicKeyAndIDFromReg(std::string* key, std::uint32_t* id);
    HRESULT SetPublicKeyAndIDFromReg(const std::string& key, std::uint32_t id);

    // Command procedures: 0 where the request was made, whatever came of it; E_FAIL without network; what the host's
    // callback returned where there is no access token.
    HRESULT GetUserInfoCmdProc();
    HRESULT GetProductListCmdProc();
    HRESULT GetProductListV2CmdProc();
    HRESULT GIQueryProc();
    HRESULT GILogProc();

    // The token check that the routine timer asks for. Only a result number of the service is a refusal. With
    // `singleSignOn` a refused token is deleted if it is the shared one, and the session learns of that like every
    // other application does; else this session drops it. The exchange's own result, or S_FALSE if no request was
    // made.
    HRESULT CheckTokenValidCmdProc(bool singleSignOn);

    // A member token that has more than a minute to live: the shared one, renewed at the member-auth service where it
    // has to be. QSN_RETURN_E_NO_TOKEN where there is none to renew.
    HRESULT GetMemberTokenTaskCmdProc(std::string* token);

    // `timer` is not owned and outlives the session.
    void SetRoutineTimer(RoutineTimer* timer) noexcept { m_pRoutineTimer = timer; }
    // Has the access token checked `nextVerifyTime` seconds from now and then again after each; a value below 1 ends
    // that. E_UNEXPECTED: there is no timer.
    HRESULT EnableCheckTokenRoutine(int nextVerifyTime);

    // 0 where the session has ended: then nobody is called.
    HRESULT DoCallback(int action, int result, void* data);

    // Drops the access token where a callback result says that the service no longer accepts it.
    void HandleServerResult(int callbackResult);

    int LastCallbackResult() const noexcept { return m_nLastCallbackResult; }
    const std::string& StatusText() const noexcept { return m_strStatus; }

private:
    void KeepStatus(int action, int result);

    template <class Exchange>
    HRESULT RunCommandProcedure(const CommandProcedure& procedure, Exchange&& exchange);

    // The exchanges with the service, in QSNThreadContext_ToServer.cpp.
    HRESULT OnlineSignOut(const std::string& memberToken, const std::string& refreshToken);
    HRESULT OnlineGetUserInfo(UniqueCom<IQSNUserInfo>* userInfo);
    HRESULT OnlineGetProductList(ReplyPayload* payload);
    HRESULT OnlineGetProductListV2(ReplyPayload* payload);
    HRESULT OnlineQueryGIInfo(QSN_GI_QUOTA* quota);
    HRESULT OnlineGILog();

    HRESULT OnlineCheckTokenValid(ReplyPayload* payload);
    void DropRefusedToken(bool singleSignOn, int callbackResult);
    void RearmCheckTokenRoutine(RequestType type, const ReplyPayload& payload);

    // Member authentication, in QSNThreadContext_MemberAuth.cpp. A renewal ends with kTokensChanged if the shared
    // tokens are not those any more that it began with.
    struct Renewal {
        std::string memberToken;
        std::uint64_t memberId = 0;  // that the member token names
        SecretText refreshToken;
    };
    static HRESULT IsMemberTokenValid(const std::string& token, std::uint64_t* memberId);
    HRESULT RenewMemberToken(Renewal& renewal);
    HRESULT TakeTokenRenewedElsewhere(const Renewal& renewal, std::string* token);
    HRESULT RefreshWithNewPublicKey(Renewal& renewal);
    HRESULT OnlineInitMemberAuth(std::string* publicKey, std::uint32_t* id);
    HRESULT OnlineRefreshMemberToken(Renewal& renewal);
    HRESULT ProvidePublicKey(std::string* publicKey, std::uint32_t* id);
    HRESULT EncryptRefreshSecret(const AesKey& aesKey, Renewal& renewal, std::string* encrypted);
    HRESULT LearnMemberId(std::uint64_t memberId);
    HRESULT CommunicateToMemberAuth(RequestType type, const std::string& strJsonData, std::string* strServerResponse);
    HRESULT StoreRenewedToken(const Renewal& renewal, const AesKey& aesKey, const std::string& strServerResponse);
    HRESULT SetMemberToken(const Renewal& renewal, const std::string& text);
    HRESULT ReportMemberAuthResult(const wchar_t* label, MemberAuthReply& reply);

    HRESULT RunOnlineOperation(const OnlineOperation& operation, const std::string& text1, const std::string& text2,
                               ReplyPayload* payload);
    HRESULT GenerateJSONData(RequestType type, const std::string& text1, const std::string& text2,
                             std::string* strJsonData);
    HRESULT CommunicateToServer(const std::string& strJsonData, std::string* strServerResponse, std::string* strToken,
                                std::string* strDigest, const std::string& serverapi, bool userAgent = false);
    HRESULT ParseJSONResult(RequestType type, const std::string& strServerResponse, const std::string& strToken,
                            const std::string& strDigest, ReplyPayload* payload, std::string* additionalMessage);
    HRESULT VerifyServerDigest(const std::string& strJSONResult, const std::string& strToken,
                               const std::string& strDigest);
    std::wstring MachineID();

    HttpsClient m_httpsClient;
    MessageAuthentication m_authentication;
    NetworkProbe m_networkProbe;
    UniqueCom<IQSNCallbackFunc> m_spCallback;
    std::string m_strSID;
    std::uint32_t m_nInitialised = 0;
    SecretText m_strAccessToken;  // at most 63 characters
    int m_nLastCallbackResult = 0;
    std::string m_strStatus;  // the last reported action in words, for a look into a dump
    std::wstring m_strUsageLogFolder;
    OrbLogger m_usageLog;
    std::string m_strLanguage;
    std::string m_strExtendData;
    std::uint32_t m_nPlatformInfo = 0;
    std::uint32_t m_nCheckTokenRoutine = 0;
    RoutineTimer* m_pRoutineTimer = nullptr;
    std::uint32_t m_nUseTestbed = 0;
    std::wstring m_strDeviceId;  // empty if the machine has not told it at the start
    std::string m_strMemberId;   // of the access token's user, as user info gave it; empty until it has been read
};

}  // namespace qsn
