#pragma once

#include <string>
#include <string_view>

#include "Utility/Outcome.h"

namespace qsn {

// The bytes of one Base64 part of a token, written without padding. Deliberately without the URL-safe alphabet: a part
// that uses it decodes incompletely, as it does in every application of the suite.
std::string DecodeJWTPayload(std::string_view text);
// The payload (second part) of `token`. E_FAIL if it has fewer than two dots. The signature is never checked: here the
// token is only a hint about its own expiry, and the member service judges it.
Outcome<std::string> DecodeJWT(std::string_view token);

}  // namespace qsn
