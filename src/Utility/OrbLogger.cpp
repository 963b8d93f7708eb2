#include "Utility/OrbLogger.h"

#include <qsn/BuildConstants.h>
#include <shlwapi.h>

#include <mutex>
#include <string>

#include "Utility/Guard.h"
#include "Utility/Text.h"

namespace qsn {
namespace {

constexpr wchar_t kProductTag[] = L"QSN1.0";

using OrbInit = std::int32_t WINAPI(const wchar_t* applicationId, const wchar_t* parameters);
using OrbLog = std::int32_t WINAPI(const wchar_t* productTag, const wchar_t* message);
using OrbUninit = std::int32_t WINAPI(std::uint32_t reason);

}  // namespace

OrbLogger::~OrbLogger() {
    const std::lock_guard lock(m_lock);
    if (m_initialised) Uninit(1);
}

std::int32_t OrbLogger::Load() noexcept {
    const std::lock_guard lock(m_lock);
    m_module.Reset(LoadLibraryExW(L"Orb.dll", nullptr, LOAD_WITH_ALTERED_SEARCH_PATH));
    return IsLoaded() ? S_OK : HRESULT{kNotLoaded};
}

std::int32_t OrbLogger::Load(const wchar_t* folder) noexcept {
    const std::lock_guard lock(m_lock);
    if (!folder) return kNoFolder;
    return Guarded([&] {
        const std::wstring path = std::wstring(folder) + L"\\Orb.dll";
        if (!PathFileExistsW(path.c_str())) return E_INVALIDARG;
        m_module.Reset();
        m_module.Reset(LoadLibraryExW(path.c_str(), nullptr, 0));
        return IsLoaded() ? S_OK : HRESULT{kNotLoaded};
    });
}

std::int32_t OrbLogger::Init(const wchar_t* parameters) noexcept {
    const std::lock_guard lock(m_lock);
    if (!IsLoaded()) return kNotLoaded;
    const auto init = FindFunction<OrbInit>(m_module.Get(), "Orb_Init");
    if (!init) return kNoEntryPoint;
    m_initialised = 1;
    return init(kApplicationGuid, parameters);
}

std::int32_t OrbLogger::Log(const wchar_t* message) noexcept {
    const std::lock_guard lock(m_lock);
    if (!IsLoaded()) return kNotLoaded;
    if (!message) return kNoMessage;
    const auto log = FindFunction<OrbLog>(m_module.Get(), "Orb_Log");
    return log ? log(kProductTag, message) : kNoEntryPoint;
}

std::int32_t OrbLogger::LogA(const char* message) noexcept {
    const std::lock_guard lock(m_lock);
    // Without a module a line costs no conversion.
    if (!IsLoaded() || !message) return Log(nullptr);
    return Guarded([&] { return HRESULT{Log(Utf8ToWide(message).c_str())}; });
}

std::int32_t OrbLogger::Uninit(std::uint32_t reason) noexcept {
    const std::lock_guard lock(m_lock);
    if (!IsLoaded()) return kNotLoaded;
    const auto uninit = FindFunction<OrbUninit>(m_module.Get(), "Orb_Uninit");
    if (!uninit) return kNoEntryPoint;
    m_initialised = 0;
    return uninit(reason);
}

bool OrbLogger::IsLoaded() const noexcept {
    // A handle of all ones, and the one below it, stand for no module like null does.
    const auto value = reinterpret_cast<UINT_PTR>(m_module.Get());
    return value != 0 && value < ~UINT_PTR{0} - 1;
}

}  // namespace qsn
