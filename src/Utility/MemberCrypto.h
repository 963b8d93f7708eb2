#pragma once

#include <array>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "Utility/OpenSslOwners.h"
#include "Utility/Outcome.h"

namespace qsn {

using AesKey = std::array<std::uint8_t, 16>;

// Encryption of the member-auth exchange: a fresh AES-128 key, wrapped for the service with RSA-OAEP (SHA-256 for both
// digests, empty label), and texts under that key with AES-GCM, the 16-byte tag behind the ciphertext.
HRESULT GenerateAesKey(AesKey* key);

// `bareKey` is the Base64 body of a SubjectPublicKeyInfo without its PEM marker lines.
Outcome<UniqueRsa> CreateRSAFromPEM(const std::string& pem);
Outcome<std::vector<std::uint8_t>> EncryptAesKey(RSA* rsa, const AesKey& key);
Outcome<std::string> EncryptAESKeyByRSAKey(std::string_view bareKey, const AesKey& key);

Outcome<std::vector<std::uint8_t>> AesEncrypt(UniqueCipherContext context, const AesKey& key,
                                              std::span<const std::uint8_t> iv, std::span<const std::uint8_t> input);
// Input shorter than a tag is refused with E_FAIL.
Outcome<std::vector<std::uint8_t>> AesDecrypt(UniqueCipherContext context, const AesKey& key,
                                              std::span<const std::uint8_t> iv, std::span<const std::uint8_t> input);

// Text in, Base64 out, and back. `iv` is a text of twelve bytes.
Outcome<std::string> EncryptByAESKey(const AesKey& key, std::string_view iv, std::string_view plainText);
Outcome<std::string> DecryptByAESKey(const AesKey& key, std::string_view iv, std::string_view encoded);

}  // namespace qsn
