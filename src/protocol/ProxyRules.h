#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace qsn {

// The proxies that `list` names for https addresses, in its order, as libcurl takes them ("http://proxy:8080"): those
// behind "https="; if there are none, those without a scheme; if there are none, those behind "socks=". An entry that
// does not name a host and a port is left out.
std::vector<std::string> ProxiesIn(std::string_view list);

// True if `exceptions` has an entry for `host`, port 443: "*.corp", "10.*", "https://host:443", or "<local>" for every
// name without a dot.
bool IsExcepted(std::string_view exceptions, std::string_view host);

}  // namespace qsn
