#pragma once

#include <string>

namespace qsn::bench {

// As printf, up to 1023 bytes.
std::string Format(const char* format, ...) __attribute__((format(printf, 1, 2)));

}  // namespace qsn::bench
