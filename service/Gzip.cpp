#include "Gzip.h"

#include <zlib.h>

#include <limits>
#include <stdexcept>

#include "Text.h"

namespace qsn::service {
namespace {

// zlib writes the gzip frame in place of its own when 16 is added to the window size.
constexpr int kGzipWindow = 15 + 16;
constexpr int kMemoryLevel = 8;

class Deflater {
public:
    Deflater() {
        if (deflateInit2(&stream_, Z_BEST_SPEED, Z_DEFLATED, kGzipWindow, kMemoryLevel, Z_DEFAULT_STRATEGY) != Z_OK) {
            throw std::runtime_error("deflateInit2 failed");
        }
    }
    ~Deflater() { deflateEnd(&stream_); }
    Deflater(const Deflater&) = delete;
    Deflater& operator=(const Deflater&) = delete;

    std::string Run(std::string_view text) {
        std::string result(deflateBound(&stream_, static_cast<uLong>(text.size())), '\0');
        stream_.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(text.data()));
        stream_.avail_in = static_cast<uInt>(text.size());
        stream_.next_out = reinterpret_cast<Bytef*>(result.data());
        stream_.avail_out = static_cast<uInt>(result.size());
        if (deflate(&stream_, Z_FINISH) != Z_STREAM_END) throw std::runtime_error("deflate failed");
        result.resize(stream_.total_out);
        return result;
    }

private:
    z_stream stream_{};
};

std::string WithoutBlanks(std::string_view text) {
    std::string result;
    for (const char c : text) {
        if (c != ' ' && c != '\t') result += c;
    }
    return result;
}

}  // namespace

std::string Gzip(std::string_view text) {
    if (text.size() > std::numeric_limits<uInt>::max() / 2) throw std::length_error("body too large for gzip");
    return Deflater().Run(text);
}

bool AcceptsGzip(std::string_view acceptEncoding) {
    const std::string list = LowerCase(WithoutBlanks(acceptEncoding));
    for (std::size_t start = 0; start < list.size();) {
        const std::size_t end = std::min(list.find(',', start), list.size());
        const std::string_view coding = std::string_view(list).substr(start, end - start);
        const std::string_view name = coding.substr(0, coding.find(';'));
        if (name == "gzip") return coding.find(";q=0") == coding.npos || coding.find(";q=0.") != coding.npos;
        start = end + 1;
    }
    return false;
}

}  // namespace qsn::service
