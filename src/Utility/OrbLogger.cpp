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

void OrbLogger::Load() noexcept {
    const std::lock_guard lock(m_lock);
    m_module.Reset(LoadLibraryExW(L"Orb.dll", nullptr, LOAD_WITH_ALTERED_SEARCH_PATH));
}

void OrbLogger::Load(const std::wstring& folder) noexcept {
    const std::lock_guard lock(m_lock);
    Guarded([&] {
        const std::wstring path = folder + L"\\Orb.dll";
        if (!PathFileExistsW(path.c_str())) return S_FALSE;
        m_module.Reset();
        m_module.Reset(LoadLibraryExW(path.c_str(), nullptr, 0));
        return S_OK;
    });
}

void OrbLogger::Init(const wchar_t* parameters) noexcept {
    const std::lock_guard lock(m_lock);
    const auto init = EntryPoint<OrbInit>("Orb_Init");
    if (!init) return;
    m_initialised = true;
    init(kApplicationGuid, parameters);
}

void OrbLogger::Log(const wchar_t* message) noexcept {
    const std::lock_guard lock(m_lock);
    if (const auto log = EntryPoint<OrbLog>("Orb_Log")) log(kProductTag, message);
}

void OrbLogger::LogA(const char* message) noexcept {
    const std::lock_guard lock(m_lock);
    if (!IsLoaded()) return;  // a line costs no conversion then
    Guarded([&] {
        Log(Utf8ToWide(message).c_str());
        return S_OK;
    });
}

void OrbLogger::Uninit(std::uint32_t reason) noexcept {
    const std::lock_guard lock(m_lock);
    const auto uninit = EntryPoint<OrbUninit>("Orb_Uninit");
    if (!uninit) return;
    m_initialised = false;
    uninit(reason);
}

template <class Function>
Function* OrbLogger::EntryPoint(const char* name) const noexcept {
    return IsLoaded() ? FindFunction<Function>(m_module.Get(), name) : nullptr;
}

bool OrbLogger::IsLoaded() const noexcept {
    // Like null, a handle of all ones and the one below it stand for no module.
    const auto value = reinterpret_cast<UINT_PTR>(m_module.Get());
    return value != 0 && value < ~UINT_PTR{0} - 1;
}

}  // namespace qsn
