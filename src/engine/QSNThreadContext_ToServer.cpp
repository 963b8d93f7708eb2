#include <windows.h>

#include <utility>

#include "Utility/DeviceIdentity.h"
#include "Utility/Text.h"
#include "Utility/Trace.h"
#include "Utility/WipeAtEnd.h"
#include "engine/QSNThreadContext.h"
#include "protocol/RequestBodies.h"
#include "protocol/ResultCodes.h"

namespace qsn {

// What tells one exchange with the service from another.
struct QSNThreadContext::OnlineOperation {
    RequestType type;
    const char* name;
    const wchar_t* resultLabel = nullptr;  // null: the result number is not reported
    const char* nameInSendTrace = name;
    void (*traceParsed)(const ReplyPayload&) = nullptr;  // called for a reply that could be read
};

namespace {

constexpr char kUnit[] = "QSNThreadContext_ToServer";

void TraceQuota(const ReplyPayload& payload) {
    TraceW(L"OnlineQueryGIInfo resetDate:%s, remain_dl:%d\n", payload.quota.resetDate,
           static_cast<int>(payload.quota.remainCount));
}

std::wstring MachineName() {
    wchar_t name[MAX_COMPUTERNAME_LENGTH + 1] = {};
    DWORD size = MAX_COMPUTERNAME_LENGTH + 1;
    return GetComputerNameW(name, &size) ? name : L"DefaultComputerName";
}

bool NamesTheDevice(RequestType type) { return type == RequestType::kSignOut || type == RequestType::kVerifyToken; }

}  // namespace

HRESULT QSNThreadContext::OnlineSignOut(const std::string& memberToken, const std::string& refreshToken) {
    return RunOnlineOperation({RequestType::kSignOut, "OnlineSignOut", L"OnlineSignOut"}, memberToken, refreshToken)
        .result;
}

Outcome<ReplyPayload> QSNThreadContext::OnlineGetUserInfo() {
    Outcome<ReplyPayload> reply = RunOnlineOperation({RequestType::kGetUserInfo, "OnlineGetUserInfo", L"GetUserInfo"});
    if (reply.value.userInfo) m_state.memberId = reply.value.userID;
    return reply;
}

Outcome<ReplyPayload> QSNThreadContext::OnlineGetProductList() {
    return RunOnlineOperation({RequestType::kGetProductList, "OnlineGetProductList", L"GetProductList"});
}

Outcome<ReplyPayload> QSNThreadContext::OnlineGetProductListV2() {
    // Without a member token too: the service says what it thinks of that.
    const Outcome<std::string> memberToken = GetMemberTokenTaskCmdProc();
    return RunOnlineOperation({RequestType::kGetProductListV2, "OnlineGetProductListV2", L"GetProductList V2"},
                              memberToken.value);
}

Outcome<ReplyPayload> QSNThreadContext::OnlineQueryGIInfo() {
    return RunOnlineOperation(
        {.type = RequestType::kQueryGIQuota, .name = "OnlineQueryGIInfo", .traceParsed = TraceQuota});
}

// Its second line has always carried the query's name; support scripts know it like that.
Outcome<ReplyPayload> QSNThreadContext::OnlineGILog() {
    return RunOnlineOperation(
        {.type = RequestType::kLogGIQuota, .name = "OnlineGILog", .nameInSendTrace = "OnlineQueryGIInfo"});
}

Outcome<ReplyPayload> QSNThreadContext::OnlineCheckTokenValid() {
    return RunOnlineOperation({.type = RequestType::kVerifyToken, .name = "OnlineCheckTokenValid"});
}

Outcome<ReplyPayload> QSNThreadContext::RunOnlineOperation(const OnlineOperation& operation,
                                                           std::string_view memberToken,
                                                           std::string_view refreshToken) {
    TraceA("%s\n", operation.name);
    TraceA("%s: GenerateJSONData\n", operation.name);
    Outcome<std::string> body = GenerateJSONData(operation.type, memberToken, refreshToken);
    const WipeAtEnd wipeBody(body.value);
    if (FAILED(body.result)) return {body.result};

    TraceA("%s: CommunicateToServer\n", operation.nameInSendTrace);
    const ServerURL serverapi = GetServerURL(operation.type, m_state.useTestbed, m_state.memberId);
    TraceA("Start to communicate to Server\n");
    const Outcome<SignedReply> reply = m_exchange.CommunicateToServer(serverapi, body.value);
    NoteExchange();
    const HRESULT sent = HandOn(
        reply.result, kUnit, "CommunicateToServer(strJsonData, &strServerResponse, &strToken, &strDigest, serverapi)");
    if (FAILED(sent)) return {sent};

    Outcome<ReplyPayload> outcome = ParseJSONResult(operation.type, reply.value);
    ReplyPayload& payload = outcome.value;
    const HRESULT parsed = outcome.result;
    // Nothing is known of such a reply. What else is thrown for want of memory ends the operation in the same way.
    if (parsed == E_OUTOFMEMORY) return {parsed};
    RearmCheckTokenRoutine(operation.type, payload);
    if (SUCCEEDED(parsed) && operation.traceParsed) operation.traceParsed(payload);
    if (operation.resultLabel) ReportServerResult(operation.resultLabel, payload.serverResult);
    outcome.result = ServerResult2HRESULT(payload.serverResult);
    if (FAILED(parsed) && SUCCEEDED(outcome.result)) outcome.result = parsed;
    if (!payload.additionalMessage.empty()) TellServiceMessage(std::move(payload.additionalMessage));
    TraceA("%s return hr = %x\n", operation.name, static_cast<unsigned>(outcome.result));
    return outcome;
}

void QSNThreadContext::ReportServerResult(const wchar_t* label, int result) {
    const std::wstring line = label + std::wstring(L", Server result = ") + std::to_wstring(result) + L"\n";
    TraceW(L"%s", line.c_str());
    m_usageLog.Log(line.c_str());
}

Outcome<std::string> QSNThreadContext::GenerateJSONData(RequestType type, std::string_view memberToken,
                                                        std::string_view refreshToken) {
    RequestValues values;
    values.accessToken = m_state.accessToken.Text();
    values.extendData = m_state.extendData;
    values.language = m_state.language;
    values.productSID = m_state.productSID;
    values.memberToken = memberToken;
    values.refreshToken = refreshToken;
    values.platform = m_state.platform;
    if (NamesTheDevice(type)) {
        values.machineName = WideToUtf8(MachineName());
        values.machineID = WideToUtf8(MachineID());
    }
    return WriteRequestBody(type, values);
}

std::wstring QSNThreadContext::MachineID() {
    if (!m_strDeviceId.empty()) return m_strDeviceId;
    const Outcome<std::wstring> identifier = GetDeviceId(&m_book->Waits());
    return SUCCEEDED(identifier.result) ? identifier.value : L"DefaultHWID";
}

// The digest is checked last, so that a reply that cannot be read is reported as such even if its digest is wrong
// too.
Outcome<ReplyPayload> QSNThreadContext::ParseJSONResult(RequestType type, const SignedReply& reply) {
    Outcome<ReplyEnvelope> envelope = ReadEnvelope(reply.body);
    if (FAILED(envelope.result)) return {envelope.result};
    Report().serverResult = envelope.value.result;

    TraceA("Verify digest from Server\n");
    Outcome<ReplyPayload> payload;
    payload.result =
        HandOn(m_exchange.VerifyServerDigest(reply), kUnit, "VerifyServerDigest(strJSONResult, strToken, strDigest)");
    if (SUCCEEDED(payload.result) && envelope.value.result == 0)
        payload = ReadPayload(type, std::move(envelope.value.data));
    payload.value.serverResult = envelope.value.result;
    payload.value.additionalMessage = std::move(envelope.value.additionalMessage);
    return payload;
}

}  // namespace qsn
