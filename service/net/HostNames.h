#pragma once

#include <array>
#include <string>
#include <string_view>

namespace qsn::service {

enum class Site { kProduction, kStaging };

// The hosts that one service instance answers for. Names are compared without regard to case.
struct HostNames {
    std::string service;
    std::string stagingService;
    std::string member;
    std::string stagingMember;

    // The hosts that the library of this build talks to.
    static HostNames OfThisBuild();

    std::array<std::string_view, 4> All() const& { return {service, stagingService, member, stagingMember}; }
    std::array<std::string_view, 4> All() const&& = delete;
    bool Contains(std::string_view host) const;
    bool IsMemberHost(std::string_view host) const;
    Site SiteOf(std::string_view host) const;
};

}  // namespace qsn::service
