#include "engine/QSNThreadContext.h"

#include <algorithm>
#include <array>

#include "Utility/DeviceIdentity.h"
#include "Utility/Guard.h"
#include "Utility/Text.h"
#include "Utility/Trace.h"
#include "protocol/ResultCodes.h"

namespace qsn {
namespace {

struct ActionName {
    int action;
    const char* name;
};

// The others have never had a line of their own.
constexpr std::array kTracedActions{
    ActionName{QSN_ACTION_CHECK_TOKEN_ROUTINE_RESULT, "QSN_ACTION_CHECK_TOKEN_ROUTINE_RESULT"},
    ActionName{QSN_ACTION_GI_QUERY_RESULT, "QSN_ACTION_GI_QUERY_RESULT"},
    ActionName{QSN_ACTION_GI_LOG_RESULT, "QSN_ACTION_GI_LOG_RESULT"},
};

void TraceCallback(int action, int result) {
    TraceA("DoCallback: action = %d\n", action);
    const auto row = std::ranges::find(kTracedActions, action, &ActionName::action);
    if (row != kTracedActions.end()) {
        TraceA("Callback: %s, result = %d\n", row->name, result);
    } else if (action == QSN_ACTION_NOTIFY) {
        TraceA("Callback: QSN_ACTION_NOTIFY id = %d\n", result);
    }
}

constexpr std::array<int, 5> kItems{QSNCFG_SET_LANGUAGE, QSNCFG_SET_PLATFORM_INFO, QSNCFG_SET_EXTEND_DATA,
                                    QSNCFG_ENABLE_CHECK_TOKEN_ROUTINE, QSNCFG_USE_TESTBED};

std::string TextItem(const void* data) { return WideToUtf8(static_cast<const wchar_t*>(data)); }
std::uint32_t NumberItem(const void* data) { return *static_cast<const std::uint32_t*>(data); }

}  // namespace

QSNThreadContext::QSNThreadContext() : BaseThreadContext("QSNThreadContext") {}

QSNThreadContext::~QSNThreadContext() {
    // A session that was ended in order is not reported to the usage log twice.
    if (m_initialised) Uninit();
}

HRESULT QSNThreadContext::Init(const char* productSID, IQSNCallbackFunc* callback) {
    if (m_initialised) return QSN_RETURN_E_ALREADY_INITIALIZED;
    m_state = {};
    m_state.productSID = productSID;
    m_pRoutineTimer = nullptr;
    m_spCallback = AddReference(callback);
    m_initialised = true;
    return S_OK;
}

bool QSNThreadContext::InitOnThread() {
    // One that does not start costs the token check only.
    if (m_pRoutineTimer) m_pRoutineTimer->Run();
    return SUCCEEDED(Guarded([&] {
        m_usageLog.Load();
        if (!m_strUsageLogFolder.empty()) m_usageLog.Load(m_strUsageLogFolder);
        DeviceText deviceId = {};
        GetDeviceId(deviceId, nullptr, m_exchange.Client().BreakOffEvent());
        m_strDeviceId = deviceId;
        m_usageLog.Init((L"HWID=" + m_strDeviceId + L"&sid=" + Utf8ToWide(m_state.productSID)).c_str());
        m_usageLog.LogA("QSN Init");
        return S_OK;
    }));
}

HRESULT QSNThreadContext::Uninit() {
    m_exchange.Client().Close();
    m_networkProbe.Close();
    m_usageLog.Log(L"QSN Uninit");
    m_usageLog.Uninit(0);
    m_initialised = false;
    m_pRoutineTimer = nullptr;
    m_spCallback.reset();
    return S_OK;
}

HRESULT QSNThreadContext::SetConfig(int id, const void* data) {
    TraceW(L"Config ID = %d\n", id);
    if (std::ranges::find(kItems, id) == kItems.end()) return E_NOTIMPL;
    if (!data) return E_INVALIDARG;
    switch (id) {
        case QSNCFG_SET_LANGUAGE: m_state.language = TextItem(data); break;
        case QSNCFG_SET_PLATFORM_INFO: m_state.platform = NumberItem(data); break;
        case QSNCFG_SET_EXTEND_DATA: m_state.extendData = TextItem(data); break;
        case QSNCFG_ENABLE_CHECK_TOKEN_ROUTINE: m_state.checkTokenRoutine = NumberItem(data) != 0; break;
        default:
            m_state.useTestbed = NumberItem(data) != 0;
            TraceW(L"QSNCFG_USE_TESTBED = %d\n", static_cast<int>(NumberItem(data)));
            break;
    }
    return S_OK;
}

HRESULT QSNThreadContext::DoCallback(int action, int result, void* data) {
    TraceCallback(action, result);
    // A request that was given up has nobody to tell.
    if (m_exchange.Client().IsBrokenOff()) return S_OK;
    // A reference of its own, because the host may end the session inside the callback.
    const UniqueCom<IQSNCallbackFunc> callback = AddReference(m_spCallback.get());
    return callback ? callback->Callback(action, result, data) : S_OK;
}

void QSNThreadContext::HandleServerResult(int callbackResult) {
    if (EndsSession(callbackResult)) SetAccessToken({});
}

void QSNThreadContext::TellServiceMessage(std::string message) {
    // The host gets the text through a pointer to non-const.
    DoCallback(QSN_ACTION_NOTIFY, QSN_NOTIFY_SERVICE_MESSAGE, message.data());
}

}  // namespace qsn
