#include <windows.h>

#include "Utility/LibCrypto.h"
#include "dll/RuntimeThreads.h"

extern "C" BOOL WINAPI DllMainCRTStartup(HINSTANCE instance, DWORD reason, void* processEnds);

// The linker's entry point, around the C runtime's: when the DLL goes, libcrypto has to end before the runtime does,
// and what the runtime keeps to itself (thread-local keys, memory for exceptions when there is no other) after it. At
// the end of the process neither: its other threads were killed somewhere, and the locks that a clean-up takes may
// never be given back.
extern "C" BOOL WINAPI DllEntry(HINSTANCE instance, DWORD reason, void* processEnds) {
    const bool unloads = reason == DLL_PROCESS_DETACH && !processEnds;
    if (unloads) qsn::EndLibCrypto();
    const BOOL result = DllMainCRTStartup(instance, reason, processEnds);
    if (unloads) ReturnRuntimeState();
    return result;
}
