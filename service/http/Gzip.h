#pragma once

#include <string>
#include <string_view>

namespace qsn::service {

std::string Gzip(std::string_view text);
// In zlib's frame, as HTTP understands "deflate".
std::string Deflate(std::string_view text);
std::string BareDeflate(std::string_view text);

// The start of a gzip frame that holds `text`, and bytes that add `more` to it as often as they are sent.
struct OpenGzip {
    std::string text;
    std::string more;
};
OpenGzip GzipWithoutEnd(std::string_view text, std::string_view more);

// Whether an Accept-Encoding value names gzip with a weight above 0.
bool AcceptsGzip(std::string_view acceptEncoding);

}  // namespace qsn::service
