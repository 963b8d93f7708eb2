// A network probe that says what a test wants.
#include <windows.h>

#include <atomic>

namespace {

std::atomic<BOOL> g_alive = TRUE;

}  // namespace

extern "C" __declspec(dllexport) BOOL WINAPI IsNetworkAlive(DWORD* flags) {
    const BOOL alive = g_alive;
    *flags = alive ? 1 : 0;
    return alive;
}

extern "C" __declspec(dllexport) void WINAPI FakeSetNetworkAlive(BOOL alive) { g_alive = alive; }
