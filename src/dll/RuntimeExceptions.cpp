// Where the statically linked C++ runtime keeps what it knows of each thread's exceptions.
//
// The runtime's own version allocates that at a thread's first exception, and ends the process if there is no memory.
// That happens just when std::bad_alloc is on its way to the border where it becomes a result code. These two functions
// replace it and need no memory for as many threads as ever throw at the same time.
#include <pthread.h>
#include <windows.h>

#include <atomic>
#include <cstdlib>

namespace {

// As the runtime lays it out.
struct ExceptionState {
    void* caught = nullptr;
    unsigned uncaught = 0;
};

struct Place {
    std::atomic<bool> taken{false};
    ExceptionState state;
};

constexpr int kPlaces = 256;  // of threads that have thrown and not ended yet
Place g_places[kPlaces];

void GiveBack(void* value) noexcept {
    for (Place& place : g_places) {
        if (&place.state != value) continue;
        place.state = {};
        place.taken = false;
        return;
    }
    std::free(value);
}

ExceptionState* TakePlace() noexcept {
    for (Place& place : g_places) {
        if (!place.taken.exchange(true)) return &place.state;
    }
    return static_cast<ExceptionState*>(std::calloc(1, sizeof(ExceptionState)));
}

// Made when the DLL is loaded and given back with the runtime's other keys.
const pthread_key_t g_key = [] {
    pthread_key_t key = 0;
    if (pthread_key_create(&key, &GiveBack) != 0) std::abort();
    return key;
}();

}  // namespace

// NOLINTBEGIN(bugprone-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp,readability-identifier-naming): the runtime's
// own
extern "C" {

ExceptionState* __cxa_get_globals_fast() noexcept { return static_cast<ExceptionState*>(pthread_getspecific(g_key)); }

ExceptionState* __cxa_get_globals() noexcept {
    if (ExceptionState* const known = __cxa_get_globals_fast()) return known;
    ExceptionState* const state = TakePlace();
    if (!state || pthread_setspecific(g_key, state) != 0) std::abort();
    return state;
}

}  // extern "C"
// NOLINTEND(bugprone-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp,readability-identifier-naming)
