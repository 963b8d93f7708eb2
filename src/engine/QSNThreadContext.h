#pragma once

#include <qsn/qsn.h>
#include <windows.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "Utility/ComOwners.h"
#include "Utility/NetworkProbe.h"
#include "Utility/OrbLogger.h"
#include "Utility/Outcome.h"
#include "Utility/SecretText.h"
#include "engine/MemberTokens.h"
#include "engine/RequestBook.h"
#include "engine/RoutineTimer.h"
#include "engine/SessionState.h"
#include "protocol/Endpoints.h"
#include "protocol/Reply.h"
#include "protocol/ServiceExchange.h"
#include "thread/BaseThreadContext.h"

namespace qsn {

// Who has asked for something: the host, or another application of the suite.
enum class Origin { kHost, kSingleSignOn };

// The session engine: holds the signed-in session and carries out every operation against the service.
//
// After `Init` only the worker thread touches it, but for the book; `Init` is called while no worker thread runs.
// Outcomes reach the host through `DoCallback`; the result codes returned here become the results of the tasks.
class QSNThreadContext : public BaseThread::BaseThreadContext, private MemberTokens::Session {
public:
    // What one of the host's requests has the session do, and the text that it brings back, if any.
    using Work = std::function<HRESULT(QSNThreadContext& context, std::optional<SecretText>& text)>;

    explicit QSNThreadContext(std::shared_ptr<RequestBook> book);
    ~QSNThreadContext() override;

    // Waits for nothing: what takes its time is left to `InitOnThread`. `productSID` is UTF-8.
    // QSN_RETURN_E_ALREADY_INITIALIZED, with the session untouched, if `Init` came before.
    HRESULT Init(const char* productSID, IQSNCallbackFunc* callback);
    // Starts the routine timer, asks for the device's identity and starts the usage log, with its first line.
    bool InitOnThread() override;
    DWORD Tend() noexcept override { return m_book->Tend(); }
    void EndOnThread() noexcept override { m_book->Close(); }
    // On the worker thread, or when that has ended.
    HRESULT Uninit();

    // For the thread that ends the session: the running request is given up. Its exchange ends at once, nothing of it
    // is told or stored, and no other exchange begins. Any thread; for good.
    void BreakOff() noexcept { m_book->Waits().BreakOff(); }
    // The requests that are to be completed. Any thread.
    RequestBook& Book() noexcept { return *m_book; }
    // Does the work and completes the request, unless it has been asked to end by now. What the session would tell the
    // host's callback of the outcome goes to the request.
    HRESULT RunRequest(Request& request, const Work& work);

    // Where to take the usage log from; empty: from its usual place. Before the worker thread runs. Sessions get by
    // without the log.
    void SetUsageLogFolder(std::wstring folder) noexcept { m_strUsageLogFolder = std::move(folder); }

    // Configuration item `id`: `data` is a wide text or a 32-bit value. E_INVALIDARG: null data for a known item.
    // E_NOTIMPL: unknown item.
    HRESULT SetConfig(int id, const void* data);

    // QSN_RETURN_E_NO_TOKEN if there is none.
    Outcome<SecretText> GetAccessToken() const;
    void SetAccessToken(SecretText token) noexcept { m_state.SetAccessToken(std::move(token)); }
    // The address of the login page. Never fails.
    Outcome<SecretText> GetSignInURL() const;

    HRESULT SignIn(Origin origin);
    // Ends the session, at the service too if the network allows.
    HRESULT SignOut(Origin origin, const std::string& memberToken, const std::string& refreshToken);

    // Command procedures: 0 if the request was made, whatever came of it; E_FAIL without network; what the host's
    // callback returned if there is no access token.
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

    // As `MemberTokens::Get`.
    Outcome<std::string> GetMemberTokenTaskCmdProc() { return m_memberTokens.Get(); }

    // `timer` is not owned and outlives the session.
    void SetRoutineTimer(RoutineTimer* timer) noexcept { m_pRoutineTimer = timer; }
    // Has the access token checked `nextVerifyTime` seconds from now and then again after each; a value below 1 ends
    // that. E_UNEXPECTED: there is no timer.
    HRESULT EnableCheckTokenRoutine(int nextVerifyTime);

    // What the host's callback returned; 0 if nobody was called.
    HRESULT DoCallback(int action, int result, void* data);

private:
    // Drops the access token if a callback result says that the service no longer accepts it.
    void HandleServerResult(int callbackResult);
    std::string SignInURL() const;
    void LogCallback(int action, int result);

    struct CommandProcedure;
    HRESULT RunCommandProcedure(const CommandProcedure& procedure);

    // The exchanges with the service, in QSNThreadContext_ToServer.cpp.
    struct OnlineOperation;
    HRESULT OnlineSignOut(const std::string& memberToken, const std::string& refreshToken);
    Outcome<ReplyPayload> OnlineGetUserInfo();
    Outcome<ReplyPayload> OnlineGetProductList();
    Outcome<ReplyPayload> OnlineGetProductListV2();
    Outcome<ReplyPayload> OnlineQueryGIInfo();
    Outcome<ReplyPayload> OnlineGILog();
    Outcome<ReplyPayload> OnlineCheckTokenValid();

    // A failure's payload has the service's result number, if there was one.
    Outcome<ReplyPayload> RunOnlineOperation(const OnlineOperation& operation, std::string_view memberToken = {},
                                             std::string_view refreshToken = {});
    void ReportServerResult(const wchar_t* label, int result);
    Outcome<std::string> GenerateJSONData(RequestType type, std::string_view memberToken,
                                          std::string_view refreshToken);
    std::wstring MachineID();
    Outcome<ReplyPayload> ParseJSONResult(RequestType type, const SignedReply& reply);
    void DropRefusedToken(bool singleSignOn, int callbackResult);
    void RearmCheckTokenRoutine(RequestType type, const ReplyPayload& payload);

    HRESULT LearnMemberId() override { return OnlineGetUserInfo().result; }
    void TellServiceMessage(std::string message) override;
    void NoteExchange() override { m_book->LogExchange(Report()); }
    ExchangeReport& Report() noexcept { return m_exchange.Client().Report(); }

    const std::shared_ptr<RequestBook> m_book;
    Request* m_pRequest = nullptr;  // that is run, if it is one of those
    SessionState m_state;
    OrbLogger m_usageLog;
    ServiceExchange m_exchange{m_book->Waits(), m_usageLog};
    MemberTokens m_memberTokens{*this, m_state, m_exchange, m_usageLog};
    NetworkProbe m_networkProbe;
    UniqueCom<IQSNCallbackFunc> m_spCallback;
    bool m_initialised = false;
    std::wstring m_strUsageLogFolder;
    RoutineTimer* m_pRoutineTimer = nullptr;
    std::wstring m_strDeviceId;  // empty if the machine has not told it at the start
};

}  // namespace qsn
