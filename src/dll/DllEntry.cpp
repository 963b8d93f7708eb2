#include <windows.h>

#include "Utility/LibCrypto.h"
#include "dll/RuntimeThreads.h"

extern "C" BOOL WINAPI DllMainCRTStartup(HINSTANCE instance, DWORD reason, void* processEnds);

// The linker's entry point, around the C runtime's. When the DLL goes, libcrypto has to end before the runtime. What
// the runtime keeps to itself (thread-local keys, memory for exceptions if there is no other) has to go after it. At
// the end of the process neither is done: its other threads were killed somewhere, and a lock that a clean-up needs may
// never be given back.
extern "C" BOOL WINAPI DllEntry(HINSTANCE instance, DWORD reason, void* processEnds) {
    const bool unloads = reason == DLL_PROCESS_DETACH && !processEnds;
    if (unloads) qsn::EndLibCrypto();
    const BOOL result = DllMainCRTStartup(instance, reason, processEnds);
    if (unloads) ReturnRuntimeState();
    return result;
}
