// What a user, an administrator or a proxy script may write for proxies and exceptions: a host, exceptions and a list,
// each on a line.
#include <algorithm>
#include <string>
#include <string_view>

#include "protocol/ProxyRules.h"
#include "support/Require.h"

namespace {

std::string_view TakeLine(std::string_view& text) {
    const std::size_t end = std::min(text.find('\n'), text.size());
    const std::string_view line = text.substr(0, end);
    text.remove_prefix(std::min(end + 1, text.size()));
    return line;
}

// Tries everything. The pattern is short enough for that.
bool MatchesSlowly(std::string_view pattern, std::string_view text) {
    if (pattern.empty()) return text.empty();
    if (pattern[0] != '*') {
        return !text.empty() && pattern[0] == text[0] && MatchesSlowly(pattern.substr(1), text.substr(1));
    }
    for (std::size_t taken = 0; taken <= text.size(); ++taken) {
        if (MatchesSlowly(pattern.substr(1), text.substr(taken))) return true;
    }
    return false;
}

void CheckPattern(std::string_view pattern, std::string_view host) {
    const auto isPlain = [](char c) { return c == '*' || c == '.' || (c >= 'a' && c <= 'z'); };
    if (pattern.empty() || pattern.size() > 12 || host.size() > 24) return;
    if (!std::ranges::all_of(pattern, isPlain) || !std::ranges::all_of(host, isPlain)) return;
    REQUIRE(qsn::IsExcepted(pattern, host) == MatchesSlowly(pattern, host));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    std::string_view text(reinterpret_cast<const char*>(data), size);
    const std::string_view host = TakeLine(text);
    const std::string_view exceptions = TakeLine(text);
    CheckPattern(exceptions, host);
    const bool isExcepted = qsn::IsExcepted(exceptions, host);
    REQUIRE(!isExcepted || qsn::IsExcepted("other;" + std::string(exceptions) + "\tother", host));
    for (const std::string& proxy : qsn::ProxiesIn(text)) {
        // What libcurl gets consists of a protocol, a host and a port only.
        REQUIRE(
            std::ranges::all_of(proxy, [](char c) { return c > ' ' && c < 0x7F && c != '@' && c != '?' && c != '#'; }));
        const std::string_view authority = std::string_view(proxy).substr(proxy.find("://") + 3);
        REQUIRE(authority.find('/') == std::string_view::npos && authority.find(':') != 0);
        if (proxy.starts_with("http://")) REQUIRE(qsn::ProxiesIn(proxy) == std::vector{proxy});
    }
    return 0;
}
