#pragma once

// Gives back the runtime's thread-local keys, for every thread. To be called last when the DLL goes and the process
// stays.
void ReturnRuntimeKeys() noexcept;
