#pragma once

#include <optional>
#include <string>

#include "service/http/Script.h"

namespace qsn::service {

// Nothing if the fault omits the header.
std::optional<std::string> Spoilt(const std::string& value, PairFault fault);

}  // namespace qsn::service
