#include "Utility/Trace.h"
#include "lib/PVQSNLib.h"
#include "tasks/QSNConfigTasks.h"

// The configuration items that belong to the session: each is a task of the worker, which the host waits for.

namespace qsn {

HRESULT PVQSNLib::SetLanguage(void* data, uint32_t*) {
    const std::shared_ptr<QSNWorkerThread> worker = Worker();
    if (!worker) return QSN_RETURN_E_NOT_INITIALIZED;
    if (!data) return E_INVALIDARG;
    return ResultOf(*worker, std::make_shared<ConfigLangTask>(static_cast<const wchar_t*>(data)));
}

HRESULT PVQSNLib::SetPlatformInfo(void* data, uint32_t*) {
    const std::shared_ptr<QSNWorkerThread> worker = Worker();
    if (!worker) return QSN_RETURN_E_NOT_INITIALIZED;
    const uint32_t platform = data ? *static_cast<const uint32_t*>(data) : 0;
    return ResultOf(*worker, std::make_shared<SetPlatformInfoTask>(platform));
}

HRESULT PVQSNLib::SetExtendData(void* data, uint32_t*) {
    const std::shared_ptr<QSNWorkerThread> worker = Worker();
    if (!worker) return QSN_RETURN_E_NOT_INITIALIZED;
    if (!data) return E_INVALIDARG;
    const auto* const text = static_cast<const wchar_t*>(data);
    HRESULT result = S_OK;
    const HRESULT hr = RunAndWait(*worker, std::make_shared<ConfigExtendDataTask>(text), &result);
    if (FAILED(hr)) return hr;
    TraceW(L"set extend data = %s, hr = %x\n", text, static_cast<unsigned>(result));
    return result;
}

template <class Task>
HRESULT PVQSNLib::RunSwitchTask(const void* data, const wchar_t* name) {
    const std::shared_ptr<QSNWorkerThread> worker = Worker();
    if (!worker) return QSN_RETURN_E_NOT_INITIALIZED;
    if (!data) return E_INVALIDARG;
    const uint32_t enable = *static_cast<const uint32_t*>(data);
    HRESULT result = S_OK;
    const HRESULT hr = RunAndWait(*worker, std::make_shared<Task>(enable), &result);
    if (FAILED(hr)) return hr;
    TraceW(L"%s = %d, hr = %x\n", name, static_cast<int>(enable), static_cast<unsigned>(result));
    return result;
}

HRESULT PVQSNLib::EnableCheckTokenRoutine(void* data, uint32_t*) {
    return RunSwitchTask<EnableCheckTokenRoutineTask>(data, L"QSNCFG_ENABLE_CHECK_TOKEN_ROUTINE");
}

HRESULT PVQSNLib::UseTestbed(void* data, uint32_t*) {
    return RunSwitchTask<EnableTestbedServerTask>(data, L"QSNCFG_USE_TESTBED");
}

HRESULT PVQSNLib::QueryQuota(void*, uint32_t*) {
    const std::shared_ptr<QSNWorkerThread> worker = Worker();
    return worker ? ResultOf(*worker, std::make_shared<GIQueryTask>()) : QSN_RETURN_E_NOT_INITIALIZED;
}

HRESULT PVQSNLib::LogQuota(void*, uint32_t*) {
    const std::shared_ptr<QSNWorkerThread> worker = Worker();
    return worker ? ResultOf(*worker, std::make_shared<GILogTask>()) : QSN_RETURN_E_NOT_INITIALIZED;
}

HRESULT PVQSNLib::ResultOf(QSNWorkerThread& worker, const std::shared_ptr<QSNTaskBase>& task) {
    HRESULT result = S_OK;
    const HRESULT hr = RunAndWait(worker, task, &result);
    return FAILED(hr) ? hr : result;
}

}  // namespace qsn
