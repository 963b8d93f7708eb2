#pragma once

#include <windows.h>

#include <atomic>

#include "Utility/Win32Owners.h"

namespace qsn {

// What the worker thread does now and then while it waits for the network. It may call the host.
class Attendant {
public:
    // The milliseconds after which it wants to be called again at the latest.
    virtual DWORD Tend() noexcept = 0;

protected:
    ~Attendant() = default;
};

// Ends the waits of the worker thread, or wakes it in the middle of them.
class Interruption {
public:
    Interruption() = default;
    Interruption(const Interruption&) = delete;
    Interruption& operator=(const Interruption&) = delete;
    ~Interruption() = default;

    // Any thread. Every wait ends, now and later.
    void BreakOff() noexcept;
    // Any thread. The waits of the request that runs now end, until `BeginRequest`.
    void BreakOffRequest() noexcept;
    // Any thread. The attendant is called soon.
    void Wake() noexcept;

    bool IsBrokenOff() const noexcept { return m_isBrokenOff || m_isRequestBrokenOff; }
    bool IsBrokenOffForGood() const noexcept { return m_isBrokenOff; }

    // The others are for the worker thread, `SetAttendant` before it starts.
    void SetAttendant(Attendant* attendant) noexcept { m_attendant = attendant; }
    void BeginRequest() noexcept { m_isRequestBrokenOff = false; }
    // Waits for `object`. False if `milliseconds` are over or the wait was broken off.
    bool Wait(HANDLE object, DWORD milliseconds) noexcept;
    // Calls the attendant, and returns how long the thread may wait then.
    DWORD Tend() noexcept { return m_attendant ? m_attendant->Tend() : INFINITE; }

    // While one exists `wake` is called, on any thread, whenever the thread is to look up from a wait of its own.
    class OwnWait {
    public:
        OwnWait(Interruption& interruption, void (*wake)(void*), void* argument) noexcept;
        OwnWait(const OwnWait&) = delete;
        OwnWait& operator=(const OwnWait&) = delete;
        ~OwnWait();

    private:
        Interruption& m_interruption;
    };

private:
    HANDLE Event() noexcept;

    Attendant* m_attendant = nullptr;
    std::atomic<bool> m_isBrokenOff{false};
    std::atomic<bool> m_isRequestBrokenOff{false};
    SlimLock m_lock;  // guards what follows; held for a moment only
    UniqueHandle m_event;
    void (*m_wake)(void*) = nullptr;
    void* m_argument = nullptr;
};

}  // namespace qsn
