#include "engine/QSNThreadContext.h"

#include <algorithm>
#include <array>
#include <utility>

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

QSNThreadContext::QSNThreadContext(std::shared_ptr<RequestBook> book)
    : BaseThreadContext("QSNThreadContext"), m_book(std::move(book)) {}

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
    m_book->Log().Write({QSN_LOG_SESSION_STARTED});
    return SUCCEEDED(Guarded([&] {
        m_usageLog.Load();
        if (!m_strUsageLogFolder.empty()) m_usageLog.Load(m_strUsageLogFolder);
        m_strDeviceId = GetDeviceId(&m_book->Waits()).value;
        if (!m_initialised) return E_ABORT;  // the host has ended the session meanwhile
        m_usageLog.Init((L"HWID=" + m_strDeviceId + L"&sid=" + Utf8ToWide(m_state.productSID)).c_str());
        m_usageLog.LogA("QSN Init");
        return S_OK;
    }));
}

HRESULT QSNThreadContext::Uninit() {
    m_book->Log().Write({QSN_LOG_SESSION_ENDED});
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
    if (m_pRequest && action != QSN_ACTION_NOTIFY) {
        m_book->Complete(*m_pRequest, result, Report(), data);
        return S_OK;
    }
    // A request that was given up has nobody to tell.
    if (m_book->Waits().IsBrokenOffForGood()) return S_OK;
    LogCallback(action, result);
    // A reference of its own, because the host may end the session inside the callback.
    const UniqueCom<IQSNCallbackFunc> callback = AddReference(m_spCallback.get());
    return callback ? callback->Callback(action, result, data) : S_OK;
}

void QSNThreadContext::LogCallback(int action, int result) {
    QSN_OUTCOME outcome{};
    outcome.size = sizeof(outcome);
    outcome.callbackResult = result;
    m_book->Log().Write({.event = QSN_LOG_CALLBACK, .level = QSN_LOG_DETAIL, .action = action, .outcome = &outcome});
}

HRESULT QSNThreadContext::RunRequest(Request& request, const Work& work) {
    if (!m_book->Begin(request)) return E_ABORT;
    Report() = {};
    m_pRequest = &request;
    std::optional<SecretText> text;
    const HRESULT hr = Guarded([&] { return work(*this, text); });
    m_pRequest = nullptr;
    Report().result = hr;
    const int code = hr == QSN_RETURN_E_NO_TOKEN ? QSN_CALLBACK_NOT_SIGNED_IN
                     : FAILED(hr)                ? QSN_CALLBACK_NETWORK_OR_UNKNOWN
                                                 : QSN_CALLBACK_OK;
    // Nothing is left to do for what `DoCallback` has completed. The host's data is not const, though nobody expects it
    // to be written to.
    m_book->Complete(request, code, Report(),
                     SUCCEEDED(hr) && text ? const_cast<char*>(text->Text().c_str()) : nullptr);
    return hr;
}

void QSNThreadContext::HandleServerResult(int callbackResult) {
    if (EndsSession(callbackResult)) SetAccessToken({});
}

void QSNThreadContext::TellServiceMessage(std::string message) {
    // The host gets the text through a pointer to non-const.
    DoCallback(QSN_ACTION_NOTIFY, QSN_NOTIFY_SERVICE_MESSAGE, message.data());
}

}  // namespace qsn
