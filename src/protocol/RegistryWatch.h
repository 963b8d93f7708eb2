#pragma once

#include <windows.h>

#include <initializer_list>
#include <vector>

#include "Utility/Win32Owners.h"

namespace qsn {

// Tells whether registry keys, with everything below them, are as they were when it was made. For one thread.
class RegistryWatch {
public:
    struct Key {
        HKEY root;
        const wchar_t* path;
    };

    // One that watches nothing.
    RegistryWatch() noexcept = default;
    // If it is made before the keys are read, it misses no change.
    RegistryWatch(std::initializer_list<Key> keys);

    // Also false if one of the keys cannot be watched.
    bool IsUnchanged() const noexcept;

private:
    UniqueHandle m_changed;
    std::vector<UniqueRegistryKey> m_keys;
    bool m_isWatching = false;
};

}  // namespace qsn
