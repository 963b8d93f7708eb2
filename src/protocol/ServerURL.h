#pragma once

#include <string>

namespace qsn {

struct SplitURL {
    std::string scheme;
    std::string host;
    std::string path;
};
// Scheme and host in lower case; everything empty if `url` has no "://".
SplitURL SplitServerURL(const std::string& url);

}  // namespace qsn
