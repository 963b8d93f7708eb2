#include "Utility/Md5.h"

#include <windows.h>

#include <algorithm>
#include <array>
#include <initializer_list>
#include <new>

#include "Utility/CryptoApiOwners.h"
#include "Utility/Hex.h"

namespace qsn {
namespace {

constexpr std::size_t kBlockSize = 64;

using Bytes = std::span<const std::uint8_t>;
using Block = std::array<std::uint8_t, kBlockSize>;

struct Digest {
    const char* error = nullptr;
    std::array<std::uint8_t, 16> bytes{};
};

const char* HashParts(HCRYPTPROV provider, std::initializer_list<Bytes> parts, std::array<std::uint8_t, 16>& digest) {
    UniqueCryptHash hash;
    if (!CryptCreateHash(provider, CALG_MD5, 0, 0, hash.Receive())) return "Error creating hash";
    for (const Bytes part : parts) {
        // An empty part may come without a pointer, which CryptoAPI refuses.
        if (part.empty()) continue;
        if (!CryptHashData(hash.Get(), part.data(), static_cast<DWORD>(part.size()), 0)) return "Error hashing data";
    }
    DWORD size = static_cast<DWORD>(digest.size());
    if (!CryptGetHashParam(hash.Get(), HP_HASHVAL, digest.data(), &size, 0)) return "Error getting hash param";
    return nullptr;
}

// The digest of the parts, one after the other.
Digest Hash(HCRYPTPROV provider, std::initializer_list<Bytes> parts) {
    Digest digest;
    digest.error = HashParts(provider, parts, digest.bytes);
    return digest;
}

Digest Hash(Bytes bytes) {
    UniqueCryptProvider provider;
    if (!CryptAcquireContextW(provider.Receive(), nullptr, nullptr, PROV_RSA_FULL,
                              CRYPT_VERIFYCONTEXT | CRYPT_MACHINE_KEYSET))
        return {"Error acquiring context", {}};
    return Hash(provider.Get(), {bytes});
}

Bytes AsBytes(std::string_view text) { return {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()}; }

std::string TextOf(const Digest& digest) { return digest.error ? digest.error : BytesToHex(digest.bytes); }

Block Pad(Bytes key, std::uint8_t filler) {
    Block pad;
    pad.fill(filler);
    for (std::size_t i = 0; i < key.size(); ++i) pad[i] ^= key[i];
    return pad;
}

Digest Hmac(HCRYPTPROV provider, Bytes message, Bytes key) {
    Digest shortKey;
    if (key.size() > kBlockSize) {
        shortKey = Hash(provider, {key});
        if (shortKey.error) return shortKey;
        key = shortKey.bytes;
    }
    const Digest inner = Hash(provider, {Pad(key, 0x36), message});
    return inner.error ? inner : Hash(provider, {Pad(key, 0x5C), inner.bytes});
}

}  // namespace

std::string MD5Hex(std::span<const std::uint8_t> bytes, std::uint8_t* raw, std::size_t rawSize) {
    if (raw && rawSize < sizeof(Digest::bytes)) return "E_INVALID_HASHSIZE";
    const Digest digest = Hash(bytes);
    if (raw && !digest.error) std::ranges::copy(digest.bytes, raw);
    return TextOf(digest);
}

std::string MD5HexOfString(std::string_view text, std::uint8_t* raw, std::size_t rawSize) {
    try {
        return MD5Hex(AsBytes(text.substr(0, text.find('\0'))), raw, rawSize);
    } catch (const std::bad_alloc&) {
        return "E_OUTOFMEMORY";
    }
}

std::string HmacMD5Hex(const UniqueCryptProvider& provider, std::string_view message, std::string_view key) {
    try {
        return TextOf(Hmac(provider.Get(), AsBytes(message), AsBytes(key)));
    } catch (const std::bad_alloc&) {
        return kHmacOutOfMemory;
    }
}

bool IsMD5Hex(std::string_view text) {
    return text.size() == 32 && text.find_first_not_of("0123456789abcdef") == std::string_view::npos;
}

}  // namespace qsn
