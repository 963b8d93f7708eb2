#pragma once

// Gives back what the runtime keeps to itself, with its thread-local keys for every thread. To be called last, when the
// DLL goes and the process stays.
void ReturnRuntimeState() noexcept;
