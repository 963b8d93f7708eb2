#pragma once

#include <windows.h>

#include <cstdint>
#include <string>

#include "Utility/Win32Owners.h"

namespace qsn {

// The suite's usage log, an optional DLL of the maker: without it, or without one of its entry points, nothing happens.
// Every operation takes the object's own lock, so that host and worker thread may both log. The entry points are looked
// up at each call, because `Load` may exchange the module.
class OrbLogger {
public:
    OrbLogger() noexcept = default;
    OrbLogger(const OrbLogger&) = delete;
    OrbLogger& operator=(const OrbLogger&) = delete;
    // Reports `Orb_Uninit(1)` if an `Init` has not been followed by `Uninit`.
    ~OrbLogger();

    // Loads "Orb.dll" by its bare name. A failure leaves the log empty.
    void Load() noexcept;
    // Exchanges the module for the one in `folder`. The old module goes only if the new file exists.
    void Load(const std::wstring& folder) noexcept;
    void Init(const wchar_t* parameters) noexcept;
    void Log(const wchar_t* message) noexcept;
    // `message` is UTF-8.
    void LogA(const char* message) noexcept;
    void Uninit(std::uint32_t reason) noexcept;

private:
    // Null if there is no module, or if it lacks the function.
    template <class Function>
    Function* EntryPoint(const char* name) const noexcept;
    bool IsLoaded() const noexcept;

    CriticalSection m_lock;
    UniqueModule m_module;
    bool m_initialised = false;
};

}  // namespace qsn
