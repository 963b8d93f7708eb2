#include "protocol/ProxyRules.h"

#include <algorithm>
#include <charconv>
#include <utility>

namespace qsn {
namespace {

constexpr std::string_view kSeparators = "; \t\r\n";
constexpr int kHighestPort = 65535;

struct Protocol {
    std::string_view written;
    std::string_view forCurl;
    int port;  // unless one is given
};
// These settings do not know a proxy that is reached through TLS. SOCKS means version 4, and the proxy resolves the
// name.
constexpr Protocol kProtocols[] = {
    {"http", "http://", 80},        {"https", "http://", 443},      {"socks", "socks4a://", 1080},
    {"socks4", "socks4a://", 1080}, {"socks5", "socks5h://", 1080},
};

std::string LowerCase(std::string_view text) {
    std::string lower(text);
    std::ranges::transform(lower, lower.begin(), [](char c) { return c >= 'A' && c <= 'Z' ? char(c - 'A' + 'a') : c; });
    return lower;
}

// Takes the text up to `mark`, and the mark, off the front of `text`. Nothing if there is no mark.
std::string_view TakeUpTo(std::string_view mark, std::string_view& text) {
    const std::size_t end = text.find(mark);
    if (end == std::string_view::npos) return {};
    const std::string_view front = text.substr(0, end);
    text.remove_prefix(end + mark.size());
    return front;
}

// Calls `use` for each entry of `list` until it returns true. Returns whether it did.
template <class Use>
bool AnyEntry(std::string_view list, Use&& use) {
    for (std::size_t end = 0; !list.empty(); list.remove_prefix(std::min(end + 1, list.size()))) {
        end = std::min(list.find_first_of(kSeparators), list.size());
        if (end > 0 && use(list.substr(0, end))) return true;
    }
    return false;
}

// Splits "host:port"; the port is empty if there is none. The colons of a bare IPv6 address do not count.
std::pair<std::string_view, std::string_view> SplitPort(std::string_view text) {
    const std::size_t colon = text.rfind(':');
    if (colon == std::string_view::npos) return {text, {}};
    if (text.find(':') != colon && !text.substr(0, colon).ends_with(']')) return {text, {}};
    return {text.substr(0, colon), text.substr(colon + 1)};
}

bool IsHost(std::string_view text) {
    const bool isBracketed = text.starts_with('[') && text.ends_with(']');
    if (isBracketed) text = text.substr(1, text.size() - 2);
    const auto belongs = [isBracketed](char c) {
        return (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '.' ||
               (isBracketed ? c == ':' : c == '-' || c == '_');
    };
    return !text.empty() && std::ranges::all_of(text, belongs);
}

// Empty if `entry` is not a proxy.
std::string ForCurl(std::string_view entry, std::string_view usualProtocol) {
    const std::string_view written = TakeUpTo("://", entry);
    const auto* const protocol =
        std::ranges::find(kProtocols, written.empty() ? usualProtocol : written, &Protocol::written);
    const auto [host, portText] = SplitPort(entry.substr(0, entry.find('/')));
    if (protocol == std::end(kProtocols) || !IsHost(host)) return {};
    int port = protocol->port;
    const char* const end = portText.data() + portText.size();
    if (!portText.empty() && std::from_chars(portText.data(), end, port) != std::from_chars_result{end, std::errc()})
        return {};
    if (port < 1 || port > kHighestPort) return {};
    return std::string(protocol->forCurl) + std::string(host) + ':' + std::to_string(port);
}

// `pattern` may have any number of "*", each for any text.
bool Matches(std::string_view pattern, std::string_view text) {
    std::size_t star = std::string_view::npos;
    std::size_t taken = 0;  // by the last star
    std::size_t p = 0;
    std::size_t t = 0;
    while (t < text.size()) {
        if (p < pattern.size() && pattern[p] == '*') {
            star = p++;
            taken = t;
        } else if (p < pattern.size() && pattern[p] == text[t]) {
            ++p;
            ++t;
        } else if (star != std::string_view::npos) {
            p = star + 1;
            t = ++taken;
        } else {
            return false;
        }
    }
    return pattern.find_first_not_of('*', p) == std::string_view::npos;
}

}  // namespace

std::vector<std::string> ProxiesIn(std::string_view list) {
    std::vector<std::string> https, any, socks;
    const std::string lower = LowerCase(list);
    AnyEntry(lower, [&](std::string_view entry) {
        const bool isForAll = entry.find('=') == std::string_view::npos;
        const std::string_view scheme = TakeUpTo("=", entry);
        auto* const proxies = isForAll ? &any : scheme == "https" ? &https : scheme == "socks" ? &socks : nullptr;
        std::string proxy = ForCurl(entry, proxies == &socks ? "socks" : "http");
        if (proxies && !proxy.empty()) proxies->push_back(std::move(proxy));
        return false;
    });
    return !https.empty() ? https : !any.empty() ? any : socks;
}

bool IsExcepted(std::string_view exceptions, std::string_view host) {
    const std::string lower = LowerCase(exceptions);
    const std::string name = LowerCase(host);
    return AnyEntry(lower, [&](std::string_view entry) {
        if (entry == "<local>") return name.find('.') == std::string::npos;
        const std::string_view scheme = TakeUpTo("://", entry);
        const auto [pattern, port] = SplitPort(entry);
        return (scheme.empty() || scheme == "https") && (port.empty() || port == "443") && Matches(pattern, name);
    });
}

}  // namespace qsn
