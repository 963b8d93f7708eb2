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
    bool traced;  // else kept as the status text: these are traced by nobody, on purpose
};

constexpr std::array kActionNames{
    ActionName{QSN_ACTION_SIGNIN_RESULT, "QSN_ACTION_SIGNIN_RESULT", false},
    ActionName{QSN_ACTION_SIGNOUT_RESULT, "QSN_ACTION_SIGNOUT_RESULT", false},
    ActionName{QSN_ACTION_GET_USERINFO_RESULT, "QSN_ACTION_GET_USERINFO_RESULT", false},
    ActionName{QSN_ACTION_GET_PRODUCTLIST_RESULT, "QSN_ACTION_GET_PRODUCTLIST_RESULT", false},
    ActionName{QSN_ACTION_GET_PRODUCTLIST_V2_RESULT, "QSN_ACTION_GET_PRODUCTLIST_V2_RESULT", false},
    ActionName{QSN_ACTION_SSO_SIGNIN_RESULT, "QSN_ACTION_SSO_SIGNIN_RESULT", false},
    ActionName{QSN_ACTION_SSO_SIGNOUT_RESULT, "QSN_ACTION_SSO_SIGNOUT_RESULT", false},
    ActionName{QSN_ACTION_CHECK_TOKEN_ROUTINE_RESULT, "QSN_ACTION_CHECK_TOKEN_ROUTINE_RESULT", true},
    ActionName{QSN_ACTION_GI_QUERY_RESULT, "QSN_ACTION_GI_QUERY_RESULT", true},
    ActionName{QSN_ACTION_GI_LOG_RESULT, "QSN_ACTION_GI_LOG_RESULT", true},
};

}  // namespace

QSNThreadContext::QSNThreadContext() : BaseThreadContext("QSNThreadContext") {}

QSNThreadContext::~QSNThreadContext() {
    // A session that was ended in order is not reported to the usage log twice.
    if (m_nInitialised) Uninit();
}

HRESULT QSNThreadContext::Init(const char* productSID, IQSNCallbackFunc* callback) {
    if (m_nInitialised) return QSN_RETURN_E_ALREADY_INITIALIZED;

    m_strAccessToken = SecretText();
    m_strLanguage.clear();
    m_strExtendData.clear();
    m_strMemberId.clear();
    m_nLastCallbackResult = 0;
    m_nPlatformInfo = 0;
    m_nCheckTokenRoutine = 0;
    m_pRoutineTimer = nullptr;
    m_strSID = productSID;
    m_spCallback = AddReference(callback);

    m_nInitialised = 1;
    return S_OK;
}

bool QSNThreadContext::InitOnThread() {
    // One that does not start costs the token check only.
    if (m_pRoutineTimer) m_pRoutineTimer->Run();
    return SUCCEEDED(Guarded([&] {
        m_usageLog.Load();
        if (!m_strUsageLogFolder.empty()) m_usageLog.Load(m_strUsageLogFolder.c_str());
        DeviceText deviceId = {};
        GetDeviceId(deviceId, nullptr, m_httpsClient.BreakOffEvent());
        m_strDeviceId = deviceId;
        m_usageLog.Init((L"HWID=" + m_strDeviceId + L"&sid=" + Utf8ToWide(m_strSID)).c_str());
        m_usageLog.LogA("QSN Init");
        return S_OK;
    }));
}

HRESULT QSNThreadContext::Uninit() {
    m_httpsClient.Close();
    m_networkProbe.Close();
    m_usageLog.Log(L"QSN Uninit");
    m_usageLog.Uninit(0);
    m_nInitialised = 0;
    m_strLanguage.clear();
    m_strExtendData.clear();
    m_pRoutineTimer = nullptr;
    m_spCallback.reset();
    return S_OK;
}

HRESULT QSNThreadContext::DoCallback(int action, int result, void* data) {
    TraceA("DoCallback: action = %d\n", action);
    // The host waits for its callback; the words about it are not worth losing that.
    Guarded([&] {
        KeepStatus(action, result);
        return S_OK;
    });
    // A request that was given up has nobody to tell.
    if (m_httpsClient.IsBrokenOff()) return S_OK;
    // A reference of its own, because the host may end the session inside the callback.
    const UniqueCom<IQSNCallbackFunc> callback = AddReference(m_spCallback.get());
    return callback ? callback->Callback(action, result, data) : S_OK;
}

void QSNThreadContext::KeepStatus(int action, int result) {
    const auto row = std::ranges::find(kActionNames, action, &ActionName::action);
    if (row != kActionNames.end()) {
        m_nLastCallbackResult = result;
        std::string line = std::string("Callback: ") + row->name + ", result = " + std::to_string(result) + "\n";
        if (row->traced) {
            TraceA("%s", line.c_str());
        } else {
            m_strStatus = std::move(line);
        }
    } else if (action == QSN_ACTION_NOTIFY) {
        TraceA("Callback: QSN_ACTION_NOTIFY id = %d\n", result);
    }
}

void QSNThreadContext::HandleServerResult(int callbackResult) {
    if (EndsSession(callbackResult)) SetAccessToken({});
}

}  // namespace qsn
