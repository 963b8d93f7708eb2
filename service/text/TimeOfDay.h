#pragma once

#include <string>

namespace qsn::service {

// Now and here, as "22:40:04".
std::string TimeOfDay();

}  // namespace qsn::service
