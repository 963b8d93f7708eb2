#include "service/http/PairFaults.h"

#include "service/text/Text.h"

namespace qsn::service {
namespace {

// More than clients keep of a token, but not so much that an HTTP client refuses the header line.
constexpr std::size_t kTooLongSize = 600;

std::string WithOtherDigit(std::string value) {
    char& digit = value[value.size() / 2];
    digit = digit == '0' ? '1' : '0';
    return value;
}

}  // namespace

std::optional<std::string> Spoilt(const std::string& value, PairFault fault) {
    switch (fault) {
        case PairFault::kNone: break;
        case PairFault::kOmitted: return std::nullopt;
        case PairFault::kEmpty: return "";
        case PairFault::kWrong: return WithOtherDigit(value);
        case PairFault::kUpperCase: return UpperCase(value);
        case PairFault::kOddLength: return value.substr(0, value.size() - 1);
        case PairFault::kNoHex: return "xyz!" + value.substr(4);
        case PairFault::kTooLong: return value + std::string(kTooLongSize - value.size(), '0');
    }
    return value;
}

}  // namespace qsn::service
