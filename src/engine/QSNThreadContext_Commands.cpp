#include "Utility/Guard.h"
#include "Utility/Trace.h"
#include "engine/QSNThreadContext.h"
#include "protocol/ResultCodes.h"

namespace qsn {

// What tells one online operation of the host from another.
struct QSNThreadContext::CommandProcedure {
    Outcome<ReplyPayload> (QSNThreadContext::*exchange)();
    void* (*dataOf)(ReplyPayload& payload);  // what the host gets of a success
    int action;
    const char* usageLogName = nullptr;  // null: not reported
    const char* startTrace;
    const char* noNetworkTrace;
    const wchar_t* noNetworkLog;
    bool mayEndSession = false;  // whether a refusal can cost the access token
};

namespace {

constexpr char kNoNetworkForProducts[] = "Get ProductList: network not available!! \n";
constexpr wchar_t kNoNetworkForProductsLog[] = L"Get ProductList: Network not available";

void* ProductList(ReplyPayload& payload) { return payload.productList.get(); }

}  // namespace

HRESULT QSNThreadContext::RunCommandProcedure(const CommandProcedure& procedure) {
    if (procedure.usageLogName) m_usageLog.LogA(procedure.usageLogName);
    if (m_state.accessToken.IsEmpty()) return DoCallback(procedure.action, QSN_CALLBACK_NOT_SIGNED_IN, nullptr);
    if (!m_networkProbe.IsNetworkAlive()) {
        TraceA("%s", procedure.noNetworkTrace);
        m_usageLog.Log(procedure.noNetworkLog);
        Report().error = TransferError::kOffline;
        DoCallback(procedure.action, QSN_CALLBACK_NETWORK_OR_UNKNOWN, nullptr);
        return E_FAIL;
    }
    TraceA("%s", procedure.startTrace);
    Outcome<ReplyPayload> reply;
    const HRESULT hr = Guarded([&] {
        reply = (this->*procedure.exchange)();
        return reply.result;
    });
    Report().result = hr;
    const int code = HRESULT2CallbackResult(hr);
    if (procedure.mayEndSession) HandleServerResult(code);
    DoCallback(procedure.action, code, SUCCEEDED(hr) ? procedure.dataOf(reply.value) : nullptr);
    return S_OK;
}

HRESULT QSNThreadContext::GetUserInfoCmdProc() {
    return RunCommandProcedure({
        .exchange = &QSNThreadContext::OnlineGetUserInfo,
        .dataOf = [](ReplyPayload& payload) -> void* { return payload.userInfo.get(); },
        .action = QSN_ACTION_GET_USERINFO_RESULT,
        .usageLogName = "GetUserInfo",
        .startTrace = "GetUserInfoCmdProc: start online to get user info \n",
        .noNetworkTrace = "Get UserInfo: network not available!! \n",
        // Misspelt since the first release; people search the usage log for it like this.
        .noNetworkLog = L"Get UesrInfo: Network not available",
        .mayEndSession = true,
    });
}

HRESULT QSNThreadContext::GetProductListCmdProc() {
    return RunCommandProcedure({
        .exchange = &QSNThreadContext::OnlineGetProductList,
        .dataOf = ProductList,
        .action = QSN_ACTION_GET_PRODUCTLIST_RESULT,
        .usageLogName = "GetProductList",
        .startTrace = "GetProductListCmdProc: start online to get product list \n",
        .noNetworkTrace = kNoNetworkForProducts,
        .noNetworkLog = kNoNetworkForProductsLog,
        .mayEndSession = true,
    });
}

HRESULT QSNThreadContext::GetProductListV2CmdProc() {
    return RunCommandProcedure({
        .exchange = &QSNThreadContext::OnlineGetProductListV2,
        .dataOf = ProductList,
        .action = QSN_ACTION_GET_PRODUCTLIST_V2_RESULT,
        .usageLogName = "GetProductListV2",
        .startTrace = "GetProductListV2CmdProc: start online to get product list \n",
        .noNetworkTrace = kNoNetworkForProducts,
        .noNetworkLog = kNoNetworkForProductsLog,
        .mayEndSession = true,
    });
}

// A refused quota never ends the session.
HRESULT QSNThreadContext::GIQueryProc() {
    return RunCommandProcedure({
        .exchange = &QSNThreadContext::OnlineQueryGIInfo,
        .dataOf = [](ReplyPayload& payload) -> void* { return &payload.quota; },
        .action = QSN_ACTION_GI_QUERY_RESULT,
        .startTrace = "GIQueryProc: start online query GI info\n",
        .noNetworkTrace = "GIQueryProc: network not available!! \n",
        .noNetworkLog = L"GIQueryProc: Network not available",
    });
}

HRESULT QSNThreadContext::GILogProc() {
    return RunCommandProcedure({
        .exchange = &QSNThreadContext::OnlineGILog,
        .dataOf = [](ReplyPayload&) -> void* { return nullptr; },
        .action = QSN_ACTION_GI_LOG_RESULT,
        .startTrace = "GILogProc: start OnlineGILog \n",
        .noNetworkTrace = "GILogProc: network not available!! \n",
        .noNetworkLog = L"GILogProc: Network not available",
    });
}

}  // namespace qsn
