#include "service/http/RecordedRequest.h"

#include <algorithm>

#include "service/text/Text.h"

namespace qsn::service {

const std::string* RecordedRequest::Header(std::string_view name) const {
    const auto found = std::find_if(headers.begin(), headers.end(),
                                    [&](const auto& header) { return EqualIgnoringCase(header.first, name); });
    return found == headers.end() ? nullptr : &found->second;
}

std::string RecordedRequest::Path() const { return target.substr(0, target.find('?')); }

std::string_view ToText(RequestCheck check) {
    switch (check) {
        case RequestCheck::kNotNeeded: return "not needed";
        case RequestCheck::kAccepted: return "accepted";
        case RequestCheck::kMissing: return "missing";
        case RequestCheck::kBadToken: return "bad token";
        case RequestCheck::kDigestMismatch: return "digest mismatch";
    }
    return "unknown";
}

}  // namespace qsn::service
