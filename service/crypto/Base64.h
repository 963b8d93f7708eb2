#pragma once

#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "service/text/Text.h"

namespace qsn::service {

std::string ToBase64(std::span<const std::uint8_t> bytes);
std::string ToBase64(std::string_view bytes);
// One padded line of the standard alphabet, nothing else.
std::optional<Bytes> FromBase64(std::string_view text);

}  // namespace qsn::service
