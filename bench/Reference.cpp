// Contains what the linker is told to pull in, and nothing else.

#include <windows.h>

extern "C" BOOL WINAPI DllMain(HINSTANCE /*module*/, DWORD /*reason*/, LPVOID /*reserved*/) { return TRUE; }
