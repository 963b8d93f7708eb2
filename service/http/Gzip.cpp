#include "service/http/Gzip.h"

#include <zlib.h>

#include <boost/beast/http/rfc7230.hpp>
#include <limits>
#include <stdexcept>

namespace qsn::service {
namespace {

constexpr int kZlibWindow = 15;
// zlib writes the gzip frame in place of its own if 16 is added to the window size.
constexpr int kGzipWindow = kZlibWindow + 16;
constexpr int kMemoryLevel = 8;

class Deflater {
public:
    explicit Deflater(int window) {
        if (deflateInit2(&stream_, Z_BEST_SPEED, Z_DEFLATED, window, kMemoryLevel, Z_DEFAULT_STRATEGY) != Z_OK) {
            throw std::runtime_error("deflateInit2 failed");
        }
    }
    ~Deflater() { deflateEnd(&stream_); }
    Deflater(const Deflater&) = delete;
    Deflater& operator=(const Deflater&) = delete;

    std::string Finish(std::string_view text) { return Run(text, Z_FINISH, Z_STREAM_END); }
    // What follows does not refer back.
    std::string Flush(std::string_view text) { return Run(text, Z_FULL_FLUSH, Z_OK); }

private:
    std::string Run(std::string_view text, int flush, int expected) {
        if (text.size() > std::numeric_limits<uInt>::max() / 2) throw std::length_error("body too large to compress");
        // The mark of a flush comes on top.
        std::string result(deflateBound(&stream_, static_cast<uLong>(text.size())) + 16, '\0');
        stream_.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(text.data()));
        stream_.avail_in = static_cast<uInt>(text.size());
        stream_.next_out = reinterpret_cast<Bytef*>(result.data());
        stream_.avail_out = static_cast<uInt>(result.size());
        if (deflate(&stream_, flush) != expected) throw std::runtime_error("deflate failed");
        result.resize(result.size() - stream_.avail_out);
        return result;
    }

    z_stream stream_{};
};

}  // namespace

std::string Gzip(std::string_view text) { return Deflater(kGzipWindow).Finish(text); }
std::string Deflate(std::string_view text) { return Deflater(kZlibWindow).Finish(text); }
std::string BareDeflate(std::string_view text) { return Deflater(-kZlibWindow).Finish(text); }

OpenGzip GzipWithoutEnd(std::string_view text, std::string_view more) {
    Deflater deflater(kGzipWindow);
    std::string start = deflater.Flush(text);
    return {std::move(start), deflater.Flush(more)};
}

bool AcceptsGzip(std::string_view acceptEncoding) {
    boost::beast::http::ext_list codings(acceptEncoding);
    const auto gzip = codings.find("gzip");
    if (gzip == codings.end()) return false;
    for (const auto& [name, value] : gzip->second) {
        if (boost::beast::iequals(name, "q")) return value.find_first_not_of("0.") != value.npos;
    }
    return true;
}

}  // namespace qsn::service
