#pragma once

#include <windows.h>

#include <initializer_list>
#include <vector>

#include "Utility/Win32Owners.h"

namespace qsn {

// Tells whether registry keys are as they were when it was made, with everything below them. For one thread.
class RegistryWatch {
public:
    struct Key {
        HKEY root;
        const wchar_t* path;
    };

    // One that watches nothing.
    RegistryWatch() noexcept = default;
    // Made ahead of the reading of what the keys hold, it misses no change.
    RegistryWatch(std::initializer_list<Key> keys);

    // False also if one of the keys cannot be watched.
    bool IsUnchanged() const noexcept;

private:
    UniqueHandle m_changed;
    std::vector<UniqueRegistryKey> m_keys;
    bool m_isWatching = false;
};

}  // namespace qsn
