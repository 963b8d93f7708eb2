#include <windows.h>

#include <cwchar>
#include <utility>
#include <vector>

#include "Utility/DeviceIdentity.h"
#include "Utility/Text.h"
#include "Utility/Trace.h"
#include "Utility/WipeAtEnd.h"
#include "engine/QSNThreadContext.h"
#include "protocol/HttpsClient.h"
#include "protocol/KeyProvider.h"
#include "protocol/RequestBodies.h"
#include "protocol/ResultCodes.h"
#include "protocol/ServerURL.h"

namespace qsn {

// What tells one exchange with the service from another.
struct OnlineOperation {
    RequestType type;
    const char* name;
    const wchar_t* resultLabel = nullptr;  // null: the result number is not reported
    const char* nameInSendTrace = name;
    void (*traceParsed)(const ReplyPayload&) = nullptr;  // called for a reply that could be read
};

namespace {

constexpr char kUnit[] = "QSNThreadContext_ToServer";

constexpr OnlineOperation kSignOut{RequestType::kSignOut, "OnlineSignOut", L"OnlineSignOut"};

void TraceQuota(const ReplyPayload& payload) {
    TraceW(L"OnlineQueryGIInfo resetDate:%s, remain_dl:%d\n", payload.quota.resetDate,
           static_cast<int>(payload.quota.remainCount));
}

constexpr OnlineOperation kGetUserInfo{RequestType::kGetUserInfo, "OnlineGetUserInfo", L"GetUserInfo"};
constexpr OnlineOperation kGetProductList{RequestType::kGetProductList, "OnlineGetProductList", L"GetProductList"};
constexpr OnlineOperation kGetProductListV2{RequestType::kGetProductListV2, "OnlineGetProductListV2",
                                            L"GetProductList V2"};
constexpr OnlineOperation kQueryGIInfo{
    .type = RequestType::kQueryGIQuota, .name = "OnlineQueryGIInfo", .traceParsed = TraceQuota};
// Its second line has always carried the query's name; support scripts know it like that.
constexpr OnlineOperation kGILog{
    .type = RequestType::kLogGIQuota, .name = "OnlineGILog", .nameInSendTrace = "OnlineQueryGIInfo"};

constexpr OnlineOperation kCheckTokenValid{.type = RequestType::kVerifyToken, .name = "OnlineCheckTokenValid"};

std::wstring MachineName() {
    DeviceText name = {};
    DWORD size = kDeviceTextSize;
    return GetComputerNameW(name, &size) ? name : L"DefaultComputerName";
}

bool NamesTheDevice(RequestType type) { return type == RequestType::kSignOut || type == RequestType::kVerifyToken; }

// No User-Agent unless it is asked for: the service takes one for a member-auth call.
std::vector<std::string> Headers(const AuthenticationPair& pair) {
    return {"Content-Type: application/json; charset=UTF-8", "Accept: application/json; charset=UTF-8",
            "Accept-Encoding: gzip, deflate", std::string("X-token: ") + pair.token,
            std::string("X-digest: ") + pair.digest};
}

}  // namespace

HRESULT QSNThreadContext::OnlineSignOut(const std::string& memberToken, const std::string& refreshToken) {
    ReplyPayload nothing;
    return RunOnlineOperation(kSignOut, memberToken, refreshToken, &nothing);
}

HRESULT QSNThreadContext::OnlineGetUserInfo(UniqueCom<IQSNUserInfo>* userInfo) {
    ReplyPayload payload;
    const HRESULT hr = RunOnlineOperation(kGetUserInfo, {}, {}, &payload);
    if (payload.userInfo) m_strMemberId = std::move(payload.userID);
    *userInfo = std::move(payload.userInfo);
    return hr;
}

HRESULT QSNThreadContext::OnlineGetProductList(ReplyPayload* payload) {
    return RunOnlineOperation(kGetProductList, {}, {}, payload);
}

HRESULT QSNThreadContext::OnlineGetProductListV2(ReplyPayload* payload) {
    std::string memberToken;  // stays empty where there is none to be had: the service says what it thinks of that
    GetMemberTokenTaskCmdProc(&memberToken);
    return RunOnlineOperation(kGetProductListV2, memberToken, {}, payload);
}

HRESULT QSNThreadContext::OnlineQueryGIInfo(QSN_GI_QUOTA* quota) {
    ReplyPayload payload;
    const HRESULT hr = RunOnlineOperation(kQueryGIInfo, {}, {}, &payload);
    *quota = payload.quota;
    return hr;
}

HRESULT QSNThreadContext::OnlineGILog() {
    ReplyPayload payload;
    return RunOnlineOperation(kGILog, {}, {}, &payload);
}

HRESULT QSNThreadContext::OnlineCheckTokenValid(ReplyPayload* payload) {
    return RunOnlineOperation(kCheckTokenValid, {}, {}, payload);
}

HRESULT QSNThreadContext::RunOnlineOperation(const OnlineOperation& operation, const std::string& text1,
                                             const std::string& text2, ReplyPayload* payload) {
    TraceA("%s\n", operation.name);
    TraceA("%s: GenerateJSONData\n", operation.name);
    std::string strJsonData;
    const HRESULT written = GenerateJSONData(operation.type, text1, text2, &strJsonData);
    const WipeAtEnd wipeData(strJsonData);
    if (FAILED(written)) return written;

    TraceA("%s: CommunicateToServer\n", operation.nameInSendTrace);
    const std::string serverapi = GetServerURL(operation.type, m_nUseTestbed != 0, m_strMemberId);
    TraceA("Start to communicate to Server\n");
    std::string strServerResponse;
    std::string strToken;
    std::string strDigest;
    const HRESULT sent = CommunicateToServer(strJsonData, &strServerResponse, &strToken, &strDigest, serverapi);
    if (FAILED(sent)) {
        TraceFailed(sent, kUnit,
                    "CommunicateToServer(strJsonData, &strServerResponse, &strToken, &strDigest, serverapi)");
        return sent;
    }

    std::string additionalMessage;
    const HRESULT parsed =
        ParseJSONResult(operation.type, strServerResponse, strToken, strDigest, payload, &additionalMessage);
    // Nothing is known of such a reply. What else is thrown for want of memory ends the operation in the same way.
    if (parsed == E_OUTOFMEMORY) return parsed;
    RearmCheckTokenRoutine(operation.type, *payload);
    if (SUCCEEDED(parsed) && operation.traceParsed) operation.traceParsed(*payload);
    if (operation.resultLabel) {
        const std::wstring line = operation.resultLabel + std::wstring(L", Server result = ") +
                                  std::to_wstring(payload->serverResult) + L"\n";
        TraceW(L"%s", line.c_str());
        m_usageLog.Log(line.c_str());
    }
    HRESULT hr = ServerResult2HRESULT(payload->serverResult);
    if (FAILED(parsed) && SUCCEEDED(hr)) hr = parsed;
    if (!additionalMessage.empty()) {
        DoCallback(QSN_ACTION_NOTIFY, QSN_NOTIFY_SERVICE_MESSAGE, additionalMessage.data());
    }
    TraceA("%s return hr = %x\n", operation.name, static_cast<unsigned>(hr));
    return hr;
}

HRESULT QSNThreadContext::GenerateJSONData(RequestType type, const std::string& text1, const std::string& text2,
                                           std::string* strJsonData) {
    RequestValues values;
    values.accessToken = m_strAccessToken.Text();
    values.extendData = m_strExtendData;
    values.language = m_strLanguage;
    values.productSID = m_strSID;
    values.memberToken = text1;
    values.refreshToken = text2;
    values.platform = m_nPlatformInfo;
    if (NamesTheDevice(type)) {
        values.machineName = WideToUtf8(MachineName());
        values.machineID = WideToUtf8(MachineID());
    }
    return WriteRequestBody(type, values, strJsonData);
}

std::wstring QSNThreadContext::MachineID() {
    if (!m_strDeviceId.empty()) return m_strDeviceId;
    DeviceText identifier = {};
    return SUCCEEDED(GetDeviceId(identifier, nullptr, m_httpsClient.BreakOffEvent())) ? identifier : L"DefaultHWID";
}

HRESULT QSNThreadContext::CommunicateToServer(const std::string& strJsonData, std::string* strServerResponse,
                                              std::string* strToken, std::string* strDigest,
                                              const std::string& serverapi, bool userAgent) {
    if (!strToken || !strDigest) return E_POINTER;
    AuthenticationPair pair;
    const ProvidedKey requestKey(KeySlot::kRequest);
    if (FAILED(m_authentication.GenerateTokenAndDigest(requestKey.Blob(), strJsonData, &pair)))
        return kRequestNotSigned;
    SplitURL url = SplitServerURL(serverapi);
    HttpRequestInfo request{std::move(url.host), std::move(url.path), Headers(pair), strJsonData};
    if (userAgent) request.headers.push_back("User-Agent: Quillfern/" + m_strSID);

    TraceA("Send data to Server\n");
    HttpReply reply;
    const HRESULT hr = m_httpsClient.SendHttpsRequest(request, &reply);
    if (FAILED(hr)) {
        TraceA("Send http request to server failed hr = %x, %s\n", static_cast<unsigned>(hr), serverapi.c_str());
        m_usageLog.Log(L"Send http request to server failed");
        return hr;
    }
    *strServerResponse = std::move(reply.body);
    *strToken = std::move(reply.token);
    *strDigest = std::move(reply.digest);
    return hr;
}

// The digest is checked last, so that a reply that is no reply at all is reported as such even where its digest is
// wrong too.
HRESULT QSNThreadContext::ParseJSONResult(RequestType type, const std::string& strServerResponse,
                                          const std::string& strToken, const std::string& strDigest,
                                          ReplyPayload* payload, std::string* additionalMessage) {
    ReplyEnvelope envelope;
    const HRESULT read = ReadEnvelope(strServerResponse, &envelope);
    if (FAILED(read)) return read;
    payload->serverResult = envelope.result;
    *additionalMessage = std::move(envelope.additionalMessage);

    TraceA("Verify digest from Server\n");
    const HRESULT verified = VerifyServerDigest(strServerResponse, strToken, strDigest);
    if (FAILED(verified)) {
        TraceFailed(verified, kUnit, "VerifyServerDigest(strJSONResult, strToken, strDigest)");
        return verified;
    }
    if (payload->serverResult != 0) return S_OK;
    payload->source = std::move(envelope.data);
    return ReadPayload(type, payload->source, payload);
}

HRESULT QSNThreadContext::VerifyServerDigest(const std::string& strJSONResult, const std::string& strToken,
                                             const std::string& strDigest) {
    if (strToken.empty() || strDigest.empty()) {
        TraceA("Verify: No token and digest !!\n");
        m_usageLog.Log(L"No auth info from server!!");
        return kReplyNotAuthentic;
    }
    const ProvidedKey replyKey(KeySlot::kReply);
    const HRESULT hr = m_authentication.CheckTokenAndDigest(replyKey.Blob(), strJSONResult, strToken, strDigest);
    TraceA("Verify result = %x\n", static_cast<unsigned>(hr));
    if (SUCCEEDED(hr)) return S_OK;
    if (hr == E_OUTOFMEMORY) return hr;
    m_usageLog.Log(L"Verify auth info from server failed!!");
    return kReplyNotAuthentic;
}

}  // namespace qsn
