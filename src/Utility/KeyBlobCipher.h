#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include "Utility/CryptoApiOwners.h"
#include "Utility/Outcome.h"

namespace qsn {

inline constexpr std::size_t kKeyBlobBlockSize = 16;

// A CryptoAPI key blob as the key provider hands it out.
struct KeyBlob {
    std::uint8_t bytes[1024];
    std::uint32_t length;
};

// A provider context for key blobs and MD5, empty if there is none. Under Wine it takes 0.6 ms to acquire, and 4 ms if
// no other is held.
UniqueCryptProvider AcquireKeyBlobProvider();

// PKCS #1 v1.5 with a CryptoAPI key blob, in CryptoAPI's own (little-endian) byte order. The value is the part of
// `buffer` that holds the result.
// E_POINTER: a null buffer. E_INVALIDARG: a buffer shorter than the block, or than the ciphertext. E_UNEXPECTED: an
// empty provider. E_FAIL: the key or the data were refused.
Outcome<std::span<const std::uint8_t>> EncryptWithKeyBlob(const UniqueCryptProvider& provider, const KeyBlob& key,
                                                          std::span<const std::uint8_t, kKeyBlobBlockSize> block,
                                                          std::span<std::uint8_t> buffer);
// Writes a NUL behind the plain bytes if the buffer has room for it.
Outcome<std::span<const std::uint8_t>> DecryptWithKeyBlob(const UniqueCryptProvider& provider, const KeyBlob& key,
                                                          std::span<const std::uint8_t> ciphertext,
                                                          std::span<std::uint8_t> buffer);

}  // namespace qsn
