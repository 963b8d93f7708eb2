#include "Format.h"

#include <array>
#include <cstdarg>
#include <cstdio>

namespace qsn::bench {

std::string Format(const char* format, ...) {
    std::array<char, 1024> text{};
    va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(text.data(), text.size(), format, arguments);
    va_end(arguments);
    return text.data();
}

}  // namespace qsn::bench
