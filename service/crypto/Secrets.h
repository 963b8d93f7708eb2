#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "service/text/Text.h"

namespace qsn::service {

// That many random bytes, as lower-case hexadecimal.
std::string RandomHex(std::size_t bytes);

Bytes Sha256(std::string_view bytes);

// The time that it takes tells nothing about `expected`, not even its length.
bool EqualSecrets(std::string_view given, std::string_view expected);

}  // namespace qsn::service
