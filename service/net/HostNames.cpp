#include "service/net/HostNames.h"

#include <algorithm>

#include "qsn/BuildConstants.h"
#include "service/text/Text.h"

namespace qsn::service {

HostNames HostNames::OfThisBuild() {
    return {std::string(kServiceHost), std::string(kStagingServiceHost), std::string(kMemberHost),
            std::string(kStagingMemberHost)};
}

bool HostNames::Contains(std::string_view host) const {
    const auto all = All();
    return std::any_of(all.begin(), all.end(), [&](std::string_view known) { return EqualIgnoringCase(known, host); });
}

bool HostNames::IsMemberHost(std::string_view host) const {
    return EqualIgnoringCase(host, member) || EqualIgnoringCase(host, stagingMember);
}

Site HostNames::SiteOf(std::string_view host) const {
    const bool staging = EqualIgnoringCase(host, stagingService) || EqualIgnoringCase(host, stagingMember);
    return staging ? Site::kStaging : Site::kProduction;
}

}  // namespace qsn::service
