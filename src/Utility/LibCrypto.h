#pragma once

namespace qsn {

// libcrypto is linked into the DLL. Its own exit handler would run after the DLL has gone, so it is started without one
// before its first use (this call, cheap if repeated) ...
void StartLibCrypto() noexcept;
// ... gives back a thread's share at the end of each of our threads ...
void LeaveLibCryptoThread() noexcept;
// ... and is ended by hand when the DLL, but not the process, goes. It cannot be started again afterwards.
void EndLibCrypto() noexcept;

}  // namespace qsn
