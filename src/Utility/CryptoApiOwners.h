#pragma once

#include <windows.h>

#include <wincrypt.h>

#include "Utility/Win32Owners.h"

namespace qsn {

struct CryptProviderTraits {
    using Value = HCRYPTPROV;
    static constexpr Value kInvalid = 0;
    static void Close(Value value) noexcept { CryptReleaseContext(value, 0); }
};
using UniqueCryptProvider = UniqueResource<CryptProviderTraits>;

struct CryptHashTraits {
    using Value = HCRYPTHASH;
    static constexpr Value kInvalid = 0;
    static void Close(Value value) noexcept { CryptDestroyHash(value); }
};
using UniqueCryptHash = UniqueResource<CryptHashTraits>;

struct CryptKeyTraits {
    using Value = HCRYPTKEY;
    static constexpr Value kInvalid = 0;
    static void Close(Value value) noexcept { CryptDestroyKey(value); }
};
using UniqueCryptKey = UniqueResource<CryptKeyTraits>;

}  // namespace qsn
