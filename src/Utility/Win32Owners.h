#pragma once

#include <windows.h>

#include <memory>
#include <utility>

namespace qsn {

// Owner of a Win32 resource that is given back to `close`; 0 or null stands for none. Each use is a type of its own.
template <class Handle, auto close>
class UniqueResource {
public:
    using Value = Handle;

    UniqueResource() noexcept = default;
    explicit UniqueResource(Value value) noexcept : m_value(value) {}
    UniqueResource(UniqueResource&& other) noexcept : m_value(other.Detach()) {}
    UniqueResource& operator=(UniqueResource&& other) noexcept {
        if (this != &other) Reset(other.Detach());
        return *this;
    }
    UniqueResource(const UniqueResource&) = delete;
    UniqueResource& operator=(const UniqueResource&) = delete;
    ~UniqueResource() { Reset(); }

    Value Get() const noexcept { return m_value; }
    explicit operator bool() const noexcept { return m_value != Value{}; }

    Value Detach() noexcept { return std::exchange(m_value, Value{}); }
    void Reset(Value value = Value{}) noexcept {
        const Value old = std::exchange(m_value, value);
        if (old != Value{}) close(old);
    }
    // For functions that hand a new resource out through a pointer.
    Value* Receive() noexcept {
        Reset();
        return &m_value;
    }

private:
    Value m_value{};
};

using UniqueHandle = UniqueResource<HANDLE, CloseHandle>;
using UniqueRegistryKey = UniqueResource<HKEY, RegCloseKey>;
using UniqueModule = UniqueResource<HMODULE, FreeLibrary>;

// The function `name` of `module` as `Function`, null if the module lacks it.
template <class Function>
Function* FindFunction(HMODULE module, const char* name) noexcept {
    // Through void*, because the compiler takes a direct cast between function types for a mistake.
    return reinterpret_cast<Function*>(reinterpret_cast<void*>(GetProcAddress(module, name)));
}

// Win32 locks, because the standard library's would leave a TLS index behind each time the DLL is unloaded.
class SlimLock {
public:
    SlimLock() noexcept = default;
    SlimLock(const SlimLock&) = delete;
    SlimLock& operator=(const SlimLock&) = delete;
    ~SlimLock() = default;

    void lock() noexcept { AcquireSRWLockExclusive(&m_lock); }
    void unlock() noexcept { ReleaseSRWLockExclusive(&m_lock); }
    SRWLOCK* Native() noexcept { return &m_lock; }

private:
    SRWLOCK m_lock = SRWLOCK_INIT;
};

// A lock that its owner may take again. It is slower to make than the other but, under Wine, twice as fast to take.
class CriticalSection {
public:
    CriticalSection() noexcept { InitializeCriticalSection(&m_section); }
    CriticalSection(const CriticalSection&) = delete;
    CriticalSection& operator=(const CriticalSection&) = delete;
    ~CriticalSection() { DeleteCriticalSection(&m_section); }

    void lock() noexcept { EnterCriticalSection(&m_section); }
    void unlock() noexcept { LeaveCriticalSection(&m_section); }

private:
    CRITICAL_SECTION m_section;
};

}  // namespace qsn
