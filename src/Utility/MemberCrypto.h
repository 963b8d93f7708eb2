#pragma once

#include <windows.h>

#include <array>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "Utility/OpenSslOwners.h"

namespace qsn {

using AesKey = std::array<std::uint8_t, 16>;

// Encryption of the member-auth exchange: a fresh AES-128 key, wrapped for the service with RSA-OAEP (SHA-256 for both
// digests, empty label), and texts under that key with AES-GCM, the 16-byte tag behind the ciphertext.
HRESULT GenerateAesKey(AesKey* key);

// `bareKey` is the Base64 body of a SubjectPublicKeyInfo without its PEM marker lines.
HRESULT CreateRSAFromPEM(const std::string& pem, UniqueRsa* rsa);
HRESULT EncryptAesKey(RSA* rsa, const AesKey& key, std::vector<std::uint8_t>* encryptedKey);
HRESULT EncryptAESKeyByRSAKey(std::string_view bareKey, const AesKey& key, std::string* encodedKey);

HRESULT AesEncrypt(UniqueCipherContext context, const AesKey& key, std::span<const std::uint8_t> iv,
                   std::span<const std::uint8_t> input, std::vector<std::uint8_t>* output);
// Input shorter than a tag is refused with E_FAIL.
HRESULT AesDecrypt(UniqueCipherContext context, const AesKey& key, std::span<const std::uint8_t> iv,
                   std::span<const std::uint8_t> input, std::vector<std::uint8_t>* output);

// Text in, Base64 out, and back. `iv` is a text of twelve bytes.
HRESULT EncryptByAESKey(const AesKey& key, std::string_view iv, std::string_view plainText, std::string* encoded);
HRESULT DecryptByAESKey(const AesKey& key, std::string_view iv, std::string_view encoded, std::string* plainText);

}  // namespace qsn
