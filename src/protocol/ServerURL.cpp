#include "protocol/ServerURL.h"

#include <algorithm>

namespace qsn {
namespace {

void ToLower(std::string& text) {
    std::ranges::transform(text, text.begin(), [](char c) { return c >= 'A' && c <= 'Z' ? char(c - 'A' + 'a') : c; });
}

}  // namespace

SplitURL SplitServerURL(const std::string& url) {
    SplitURL parts;
    const std::size_t mark = url.find("://");
    if (mark == std::string::npos) return parts;
    const std::size_t host = mark + 3;
    const std::size_t path = std::min(url.find('/', host), url.size());
    parts.scheme = url.substr(0, mark);
    parts.host = url.substr(host, path - host);
    parts.path = url.substr(path);
    ToLower(parts.scheme);
    ToLower(parts.host);
    return parts;
}

}  // namespace qsn
