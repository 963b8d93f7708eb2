#include "Utility/Guard.h"
#include "Utility/Trace.h"
#include "engine/QSNThreadContext.h"
#include "protocol/ResultCodes.h"

namespace qsn {

// What tells one online operation of the host from another.
struct CommandProcedure {
    int action;
    const char* usageLogName;  // null: not reported
    const char* startTrace;
    const char* noNetworkTrace;
    const wchar_t* noNetworkLog;
    bool mayEndSession;  // whether a refusal can cost the access token
};

namespace {

constexpr CommandProcedure kGetUserInfo{
    QSN_ACTION_GET_USERINFO_RESULT,
    "GetUserInfo",
    "GetUserInfoCmdProc: start online to get user info \n",
    "Get UserInfo: network not available!! \n",
    // Misspelt since the first release; those who search the usage log search for it like this.
    L"Get UesrInfo: Network not available",
    true,
};

constexpr char kNoNetworkForProducts[] = "Get ProductList: network not available!! \n";
constexpr wchar_t kNoNetworkForProductsLog[] = L"Get ProductList: Network not available";

constexpr CommandProcedure kGetProductList{
    QSN_ACTION_GET_PRODUCTLIST_RESULT,
    "GetProductList",
    "GetProductListCmdProc: start online to get product list \n",
    kNoNetworkForProducts,
    kNoNetworkForProductsLog,
    true,
};

constexpr CommandProcedure kGetProductListV2{
    QSN_ACTION_GET_PRODUCTLIST_V2_RESULT,
    "GetProductListV2",
    "GetProductListV2CmdProc: start online to get product list \n",
    kNoNetworkForProducts,
    kNoNetworkForProductsLog,
    true,
};

// A refused quota never ends the session.
constexpr CommandProcedure kGIQuery{
    QSN_ACTION_GI_QUERY_RESULT,
    nullptr,
    "GIQueryProc: start online query GI info\n",
    "GIQueryProc: network not available!! \n",
    L"GIQueryProc: Network not available",
    false,
};

constexpr CommandProcedure kGILog{
    QSN_ACTION_GI_LOG_RESULT,
    nullptr,
    "GILogProc: start OnlineGILog \n",
    "GILogProc: network not available!! \n",
    L"GILogProc: Network not available",
    false,
};

}  // namespace

// `exchange(data)` talks to the service and stores the pointer that the host gets on success; the object behind it
// stays the caller's until this returns.
template <class Exchange>
HRESULT QSNThreadContext::RunCommandProcedure(const CommandProcedure& procedure, Exchange&& exchange) {
    if (procedure.usageLogName) m_usageLog.LogA(procedure.usageLogName);
    if (m_strAccessToken.IsEmpty()) return DoCallback(procedure.action, QSN_CALLBACK_NOT_SIGNED_IN, nullptr);
    if (!m_networkProbe.IsNetworkAlive()) {
        TraceA("%s", procedure.noNetworkTrace);
        m_usageLog.Log(procedure.noNetworkLog);
        DoCallback(procedure.action, QSN_CALLBACK_NETWORK_OR_UNKNOWN, nullptr);
        return E_FAIL;
    }
    TraceA("%s", procedure.startTrace);
    void* data = nullptr;
    const HRESULT hr = Guarded([&] { return exchange(&data); });
    const int code = HRESULT2CallbackResult(hr);
    if (procedure.mayEndSession) HandleServerResult(code);
    DoCallback(procedure.action, code, SUCCEEDED(hr) ? data : nullptr);
    return S_OK;
}

HRESULT QSNThreadContext::GetUserInfoCmdProc() {
    UniqueCom<IQSNUserInfo> userInfo;
    return RunCommandProcedure(kGetUserInfo, [&](void** data) {
        const HRESULT hr = OnlineGetUserInfo(&userInfo);
        *data = userInfo.get();
        return hr;
    });
}

HRESULT QSNThreadContext::GetProductListCmdProc() {
    ReplyPayload payload;
    return RunCommandProcedure(kGetProductList, [&](void** data) {
        const HRESULT hr = OnlineGetProductList(&payload);
        *data = payload.productList.get();
        return hr;
    });
}

HRESULT QSNThreadContext::GetProductListV2CmdProc() {
    ReplyPayload payload;
    return RunCommandProcedure(kGetProductListV2, [&](void** data) {
        const HRESULT hr = OnlineGetProductListV2(&payload);
        *data = payload.productList.get();
        return hr;
    });
}

HRESULT QSNThreadContext::GIQueryProc() {
    QSN_GI_QUOTA quota{sizeof(QSN_GI_QUOTA), {}, 0};
    return RunCommandProcedure(kGIQuery, [&](void** data) {
        *data = &quota;
        return OnlineQueryGIInfo(&quota);
    });
}

HRESULT QSNThreadContext::GILogProc() {
    return RunCommandProcedure(kGILog, [&](void**) { return OnlineGILog(); });
}

}  // namespace qsn
