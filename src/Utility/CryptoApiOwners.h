#pragma once

#include <windows.h>

#include <wincrypt.h>

#include "Utility/Win32Owners.h"

namespace qsn {

inline void ReleaseCryptProvider(HCRYPTPROV provider) noexcept { CryptReleaseContext(provider, 0); }

using UniqueCryptProvider = UniqueResource<HCRYPTPROV, ReleaseCryptProvider>;
using UniqueCryptHash = UniqueResource<HCRYPTHASH, CryptDestroyHash>;
using UniqueCryptKey = UniqueResource<HCRYPTKEY, CryptDestroyKey>;

}  // namespace qsn
