#pragma once

#include <windows.h>

#include <string_view>

#include "Utility/KeyBlobCipher.h"
#include "Utility/Outcome.h"

namespace qsn {

// The pair of headers by which requests and replies prove their origin: a token (an encrypted nonce, hexadecimal) and a
// digest (HMAC-MD5 of the body under the nonce's digits, hexadecimal). Both texts are NUL-terminated.
struct AuthenticationPair {
    char token[512];
    char digest[64];
};

// Makes and checks pairs, all with one provider context: to acquire that takes longer than to make a pair. For one
// thread.
class MessageAuthentication {
public:
    // The pair for a request. The nonce comes from the C runtime's generator, seeded with the current second, as the
    // service expects: two requests in one second carry the same.
    // E_POINTER: null body. E_FAIL: the key was refused. E_UNEXPECTED: the token does not fit.
    Outcome<AuthenticationPair> GenerateTokenAndDigest(const KeyBlob& requestKey, std::string_view body);

    // Checks the pair of a reply. E_FAIL if it does not belong to `body`, if the token is not a hexadecimal text or
    // too long, or if the key does not decrypt it. E_OUTOFMEMORY if that could not be found out. The digest's letter
    // case matters.
    HRESULT CheckTokenAndDigest(const KeyBlob& replyKey, std::string_view body, std::string_view token,
                                std::string_view digest);

private:
    const UniqueCryptProvider& Provider();

    UniqueCryptProvider m_provider;
};

}  // namespace qsn
