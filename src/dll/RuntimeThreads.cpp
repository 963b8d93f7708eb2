// The ten thread primitives that the statically linked C++ runtime asks for (exceptions, guarded statics, locales).
//
// MinGW's own library for them keeps a thread-local index and two handles each time a DLL that contains it is freed:
// 300 rounds of load and free took a host from 79 handles to 681. These give everything back. The
// runtime uses them for short critical sections and for initialisations that hardly ever meet. So a thread that finds
// one taken gives way and looks again. The system's own waits do not fit: its locks do not know their owner, and its
// one-time initialisation is larger than the runtime's.
#include "dll/RuntimeThreads.h"

#include <pthread.h>
#include <windows.h>

#include <atomic>
#include <cerrno>
#include <cstdint>

namespace {

void GiveWay() noexcept {
    if (!SwitchToThread()) Sleep(1);
}

// A mutex is free if it is 0 or a static initialiser, which is negative. A locked one holds its owner and how often.
constexpr std::intptr_t Locked(DWORD owner, std::intptr_t depth) {
    return (static_cast<std::intptr_t>(owner) << 16) | depth;
}
constexpr bool IsOwnedBy(std::intptr_t state, DWORD thread) { return state > 0 && (state >> 16) == thread; }

// Fiber-local, because only such keys are given back for every thread at once.
constexpr int kMaxKeys = 8;
std::atomic<int> g_keyCount{0};
DWORD g_keys[kMaxKeys];

void ReturnKeys() noexcept {
    while (g_keyCount > 0) FlsFree(g_keys[--g_keyCount]);
}

}  // namespace

// NOLINTBEGIN(bugprone-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp,readability-identifier-naming): the runtime's
// own, which no header declares
namespace __gnu_cxx {
void __freeres();
}
// NOLINTEND(bugprone-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp,readability-identifier-naming)

void ReturnRuntimeState() noexcept {
    __gnu_cxx::__freeres();  // memory for exceptions if there is no other
    ReturnKeys();
}

// NOLINTBEGIN(readability-inconsistent-declaration-parameter-name, readability-identifier-naming): theirs are no names.
extern "C" {

int pthread_once(pthread_once_t* once, void (*routine)()) {
    enum : long { kNew, kRunning, kDone };
    const std::atomic_ref<long> state(*once);
    for (;;) {
        long expected = kNew;
        if (state.compare_exchange_strong(expected, kRunning)) {
            routine();
            state = kDone;
            return 0;
        }
        if (expected == kDone) return 0;
        GiveWay();
    }
}

int pthread_mutex_init(pthread_mutex_t* mutex, const pthread_mutexattr_t*) {
    *mutex = 0;
    return 0;
}

int pthread_mutex_destroy(pthread_mutex_t*) { return 0; }

int pthread_mutex_lock(pthread_mutex_t* mutex) {
    const std::atomic_ref<std::intptr_t> state(*mutex);
    const DWORD self = GetCurrentThreadId();
    for (;;) {
        std::intptr_t seen = state;
        if (IsOwnedBy(seen, self)) {
            state = seen + 1;
            return 0;
        }
        if (seen <= 0 && state.compare_exchange_weak(seen, Locked(self, 1))) return 0;
        if (seen > 0) GiveWay();
    }
}

int pthread_mutex_unlock(pthread_mutex_t* mutex) {
    const std::atomic_ref<std::intptr_t> state(*mutex);
    const std::intptr_t seen = state;
    state = seen == Locked(GetCurrentThreadId(), 1) ? 0 : seen - 1;
    return 0;
}

// The runtime checks again after each wait, so a wait may end early.
int pthread_cond_wait(pthread_cond_t*, pthread_mutex_t* mutex) {
    pthread_mutex_unlock(mutex);
    Sleep(1);
    return pthread_mutex_lock(mutex);
}

int pthread_cond_broadcast(pthread_cond_t*) { return 0; }

int pthread_key_create(pthread_key_t* key, void (*destructor)(void*)) {
    const int place = g_keyCount++;
    if (place >= kMaxKeys) {
        --g_keyCount;
        return EAGAIN;
    }
    g_keys[place] = FlsAlloc(destructor);
    *key = g_keys[place];
    return g_keys[place] == FLS_OUT_OF_INDEXES ? EAGAIN : 0;
}

void* pthread_getspecific(pthread_key_t key) { return FlsGetValue(key); }

int pthread_setspecific(pthread_key_t key, const void* value) {
    return FlsSetValue(key, const_cast<void*>(value)) ? 0 : ENOMEM;
}

}  // extern "C"
// NOLINTEND(readability-inconsistent-declaration-parameter-name, readability-identifier-naming)
