#include <algorithm>
#include <array>
#include <cstring>
#include <mutex>
#include <string_view>

#include "Utility/Guard.h"
#include "Utility/Trace.h"
#include "lib/PVQSNLib.h"
#include "tasks/QSNConfigTasks.h"

namespace qsn {
namespace {

bool MakeAbsolute(std::wstring* path) {
    std::wstring absolute(GetFullPathNameW(path->c_str(), 0, nullptr, nullptr), L'\0');
    const DWORD length = GetFullPathNameW(path->c_str(), static_cast<DWORD>(absolute.size()), absolute.data(), nullptr);
    if (length == 0 || length >= absolute.size()) return false;
    absolute.resize(length);
    *path = std::move(absolute);
    return true;
}

// The host's length counts, but a token also ends at its terminator: hosts pass the size of a larger buffer too.
std::string_view TokenOf(const void* data, uint32_t length) {
    const auto* const text = static_cast<const char*>(data);
    return text ? std::string_view(text, strnlen(text, length)) : std::string_view();
}

void TraceTokenSet(const char* item, const void* data, uint32_t length) {
    TraceA("%s: %s, length = %d\n", item, data ? std::string(TokenOf(data, length)).c_str() : "NULL",
           static_cast<int>(length));
}

// A size query counts the terminator. The length of a copied text does not, and neither does the trace line, although a
// buffer of the size that it names is still too small.
HRESULT HandOut(const char* item, std::string_view token, void* data, uint32_t* length) {
    const auto tokenLength = static_cast<uint32_t>(token.size());
    if (!data) {
        *length = tokenLength + 1;
        return S_OK;
    }
    if (*length <= tokenLength) {
        TraceA("%s: buffer length is too small = %d, at least: %d\n", item, static_cast<int>(*length),
               static_cast<int>(tokenLength));
        return E_INVALIDARG;
    }
    auto* const buffer = static_cast<char*>(data);
    buffer[token.copy(buffer, tokenLength)] = '\0';
    *length = tokenLength;
    return S_OK;
}

}  // namespace

HRESULT STDMETHODCALLTYPE PVQSNLib::Config(int32_t id, void* data, uint32_t* length) {
    static constexpr std::array kItems{
        ConfigurationItem{QSNCFG_SET_LOG_FOLDER, &PVQSNLib::SetLogFolder},
        ConfigurationItem{QSNCFG_SET_LANGUAGE, &PVQSNLib::SetLanguage},
        ConfigurationItem{QSNCFG_SET_PLATFORM_INFO, &PVQSNLib::SetPlatformInfo},
        ConfigurationItem{QSNCFG_ENABLE_SINGLE_SIGNON, &PVQSNLib::EnableSingleSignOn},
        ConfigurationItem{QSNCFG_SET_EXTEND_DATA, &PVQSNLib::SetExtendData},
        ConfigurationItem{QSNCFG_ENABLE_CHECK_TOKEN_ROUTINE, &PVQSNLib::EnableCheckTokenRoutine},
        ConfigurationItem{QSNCFG_USE_TESTBED, &PVQSNLib::UseTestbed},
        ConfigurationItem{QSNCFG_GI_QUERY, &PVQSNLib::RunCommand<GIQueryTask>},
        ConfigurationItem{QSNCFG_GI_LOG, &PVQSNLib::RunCommand<GILogTask>},
        ConfigurationItem{QSNCFG_SET_MEMBER_TOKEN, &PVQSNLib::SetMemberToken},
        ConfigurationItem{QSNCFG_SET_REFRESH_TOKEN, &PVQSNLib::SetRefreshToken},
        ConfigurationItem{QSNCFG_GET_MEMBER_TOKEN, &PVQSNLib::GetMemberToken},
        ConfigurationItem{QSNCFG_GET_REFRESH_TOKEN, &PVQSNLib::GetRefreshToken},
    };
    TraceW(L"config ID = %d\n", static_cast<int>(id));
    const auto item = std::ranges::find(kItems, id, &ConfigurationItem::id);
    if (item == kItems.end()) return E_NOTIMPL;
    return Guarded([&] { return (this->*item->handler)(data, length); });
}

HRESULT PVQSNLib::SetLogFolder(void* data, uint32_t*) {
    if (!data) return E_POINTER;
    std::wstring folder = static_cast<const wchar_t*>(data);
    // A relative one is the host's at this moment. By the time it is used the current folder may be another, and the
    // loader would look beside the program first.
    if (!folder.empty() && !MakeAbsolute(&folder)) return E_INVALIDARG;
    const std::lock_guard lock(m_runningLock);
    m_strLogFolder = std::move(folder);
    return S_OK;
}

HRESULT PVQSNLib::SetLanguage(void* data, uint32_t*) {
    if (!data) return Worker() ? E_INVALIDARG : QSN_RETURN_E_NOT_INITIALIZED;
    return Run<ConfigLangTask>(static_cast<const wchar_t*>(data));
}

HRESULT PVQSNLib::SetPlatformInfo(void* data, uint32_t*) {
    return Run<SetPlatformInfoTask>(data ? *static_cast<const uint32_t*>(data) : 0);
}

HRESULT PVQSNLib::SetExtendData(void* data, uint32_t*) {
    const std::shared_ptr<QSNWorkerThread> worker = Worker();
    if (!worker) return QSN_RETURN_E_NOT_INITIALIZED;
    if (!data) return E_INVALIDARG;
    const auto* const text = static_cast<const wchar_t*>(data);
    const std::optional<HRESULT> result = RunAndWait(*worker, std::make_shared<ConfigExtendDataTask>(text));
    if (!result) return QSN_RETURN_E_TIMEOUT;
    TraceW(L"set extend data = %s, hr = %x\n", text, static_cast<unsigned>(*result));
    return *result;
}

template <class Task>
HRESULT PVQSNLib::RunSwitchTask(const void* data, const wchar_t* name) {
    const std::shared_ptr<QSNWorkerThread> worker = Worker();
    if (!worker) return QSN_RETURN_E_NOT_INITIALIZED;
    if (!data) return E_INVALIDARG;
    const uint32_t enable = *static_cast<const uint32_t*>(data);
    const std::optional<HRESULT> result = RunAndWait(*worker, std::make_shared<Task>(enable));
    if (!result) return QSN_RETURN_E_TIMEOUT;
    TraceW(L"%s = %d, hr = %x\n", name, static_cast<int>(enable), static_cast<unsigned>(*result));
    return *result;
}

HRESULT PVQSNLib::EnableCheckTokenRoutine(void* data, uint32_t*) {
    return RunSwitchTask<EnableCheckTokenRoutineTask>(data, L"QSNCFG_ENABLE_CHECK_TOKEN_ROUTINE");
}

HRESULT PVQSNLib::UseTestbed(void* data, uint32_t*) {
    return RunSwitchTask<EnableTestbedServerTask>(data, L"QSNCFG_USE_TESTBED");
}

template <class Task>
HRESULT PVQSNLib::RunCommand(void*, uint32_t*) {
    return Run<Task>();
}

template <class Task, class... Arguments>
HRESULT PVQSNLib::Run(Arguments... arguments) {
    const std::shared_ptr<QSNWorkerThread> worker = Worker();
    if (!worker) return QSN_RETURN_E_NOT_INITIALIZED;
    return RunAndWait(*worker, std::make_shared<Task>(arguments...)).value_or(QSN_RETURN_E_TIMEOUT);
}

HRESULT PVQSNLib::EnableSingleSignOn(void* data, uint32_t*) {
    if (!Worker()) return QSN_RETURN_E_NOT_INITIALIZED;
    return data ? SwitchSingleSignOn(*static_cast<const uint32_t*>(data)) : E_INVALIDARG;
}

HRESULT PVQSNLib::SwitchSingleSignOn(uint32_t enable) {
    const std::lock_guard lock(m_sourceLock);
    if (!Worker()) return QSN_RETURN_E_NOT_INITIALIZED;
    TraceW(L"config QSNCFG_ENABLE_SINGLE_SIGNON = %d\n", static_cast<int>(enable));
    if (enable) {
        const HRESULT hr = m_singleSignOn.Init(this);
        if (FAILED(hr)) return hr;
    } else {
        m_singleSignOn.UninitIfStarted();
    }
    m_singleSignOnEnabled = enable != 0;
    return S_OK;
}

HRESULT PVQSNLib::SetMemberToken(void* data, uint32_t* length) {
    if (!length) return E_POINTER;
    TraceTokenSet("QSNCFG_SET_MEMBER_TOKEN", data, *length);
    return m_singleSignOn.SetMemberToken(TokenOf(data, *length));
}

HRESULT PVQSNLib::SetRefreshToken(void* data, uint32_t* length) {
    if (!length) return E_POINTER;
    TraceTokenSet("QSNCFG_SET_REFRESH_TOKEN", data, *length);
    return m_singleSignOn.SetRefreshToken(TokenOf(data, *length));
}

HRESULT PVQSNLib::GetMemberToken(void* data, uint32_t* length) {
    if (!length) {
        TraceA("QSNCFG_GET_MEMBER_TOKEN: no buflen provided\n");
        return E_INVALIDARG;
    }
    const StoreReading<std::string> member = m_singleSignOn.GetMemberToken();
    m_singleSignOn.GetRefreshToken();  // both items have always looked at both tokens, and the trace shows it
    return FAILED(member.result) ? member.result : HandOut("QSNCFG_GET_MEMBER_TOKEN", member.value, data, length);
}

HRESULT PVQSNLib::GetRefreshToken(void* data, uint32_t* length) {
    if (!length) {
        TraceA("QSNCFG_GET_REFRESH_TOKEN: no buflen provided\n");
        return E_INVALIDARG;
    }
    m_singleSignOn.GetMemberToken();
    const StoreReading<SecretText> refresh = m_singleSignOn.GetRefreshToken();
    return FAILED(refresh.result) ? refresh.result
                                  : HandOut("QSNCFG_GET_REFRESH_TOKEN", refresh.value.Text(), data, length);
}

}  // namespace qsn
