#pragma once

#include <windows.h>

#include <cstdint>

#include "Utility/Win32Owners.h"

namespace qsn {

// The suite's usage log, an optional DLL of the maker. Every operation works under the object's own lock, so that host
// and worker thread may both log; the entry points are looked up at each call because `Load` may exchange the module.
// Results are for tests and diagnosis: no operation of the library depends on them.
class OrbLogger {
public:
    static constexpr std::int32_t kNoMessage = -1;
    static constexpr std::int32_t kNoFolder = -1;
    static constexpr std::int32_t kNotLoaded = -2;
    static constexpr std::int32_t kNoEntryPoint = -3;

    OrbLogger() noexcept = default;
    OrbLogger(const OrbLogger&) = delete;
    OrbLogger& operator=(const OrbLogger&) = delete;
    // Reports `Orb_Uninit(1)` if an `Init` has not been followed by `Uninit`.
    ~OrbLogger();

    // Loads "Orb.dll" by bare name; a failure leaves the log empty.
    std::int32_t Load() noexcept;
    // Exchanges the module for the one in `folder`. The old module goes only when the new file exists.
    std::int32_t Load(const wchar_t* folder) noexcept;
    std::int32_t Init(const wchar_t* parameters) noexcept;
    std::int32_t Log(const wchar_t* message) noexcept;
    // `message` is UTF-8.
    std::int32_t LogA(const char* message) noexcept;
    std::int32_t Uninit(std::uint32_t reason) noexcept;

private:
    bool IsLoaded() const noexcept;

    CriticalSection m_lock;
    UniqueModule m_module;
    std::uint32_t m_initialised = 0;
};

}  // namespace qsn
