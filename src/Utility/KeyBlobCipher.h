#pragma once

#include <windows.h>

#include <cstddef>
#include <cstdint>
#include <span>

#include "Utility/CryptoApiOwners.h"

namespace qsn {

inline constexpr std::size_t kKeyBlobBlockSize = 16;

// A CryptoAPI key blob as the key provider hands it out.
struct KeyBlob {
    std::uint8_t bytes[1024];
    std::uint32_t length;
};

// A provider context for key blobs and MD5, empty if there is none. Under Wine it takes 0.6 ms to acquire, and 4 if no
// other is held.
UniqueCryptProvider AcquireKeyBlobProvider();

// PKCS #1 v1.5 with a CryptoAPI key blob, in CryptoAPI's own (little-endian) byte order. `capacity` is the buffer's
// size on entry and the result's length on return.
// E_POINTER: a null buffer or capacity. E_INVALIDARG: a capacity below the block size, or below the ciphertext's
// length. E_UNEXPECTED: an empty provider. E_FAIL: the key or the data were refused.
HRESULT EncryptWithKeyBlob(const UniqueCryptProvider& provider, const KeyBlob& key,
                           std::span<const std::uint8_t, kKeyBlobBlockSize> block, std::uint8_t* output,
                           std::uint32_t* capacity);
// Writes a NUL behind the plain bytes if the buffer has room for it.
HRESULT DecryptWithKeyBlob(const UniqueCryptProvider& provider, const KeyBlob& key,
                           std::span<const std::uint8_t> ciphertext, std::uint8_t* output, std::uint32_t* capacity);

}  // namespace qsn
