#pragma once

#include <string>
#include <string_view>

namespace qsn::service {

std::string Gzip(std::string_view text);
// Whether an Accept-Encoding value names gzip with a weight above 0.
bool AcceptsGzip(std::string_view acceptEncoding);

}  // namespace qsn::service
