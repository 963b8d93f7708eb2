#include <algorithm>
#include <array>
#include <mutex>

#include "Utility/Guard.h"
#include "Utility/Trace.h"
#include "lib/PVQSNLib.h"

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
        ConfigurationItem{QSNCFG_GI_QUERY, &PVQSNLib::QueryQuota},
        ConfigurationItem{QSNCFG_GI_LOG, &PVQSNLib::LogQuota},
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

}  // namespace qsn
