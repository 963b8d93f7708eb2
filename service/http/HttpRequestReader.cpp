#include "service/http/HttpRequestReader.h"

#include <array>
#include <boost/beast/http/parser.hpp>
#include <boost/beast/http/string_body.hpp>

namespace qsn::service {
namespace {

namespace http = boost::beast::http;

using Parser = http::request_parser<http::string_body>;

constexpr std::uint64_t kBodyLimit = 64 << 20;

bool WaitsForContinue(const Parser& parser) {
    return boost::beast::iequals(parser.get()[http::field::expect], "100-continue");
}

}  // namespace

bool HttpRequestReader::Fill() {
    std::array<char, 16384> piece;
    const std::size_t count = stream_.ReadSome(piece);
    buffered_.append(piece.data(), count);
    return count > 0;
}

std::optional<ReceivedRequest> HttpRequestReader::Read() {
    Parser parser;
    parser.body_limit(kBodyLimit);
    ReceivedRequest received;
    while (!parser.is_done()) {
        if (buffered_.empty() && !Fill()) return std::nullopt;
        const bool inHeader = !parser.is_header_done();
        boost::beast::error_code error;
        const std::size_t used = parser.put(boost::asio::buffer(buffered_), error);
        if (inHeader) received.request.rawHeader.append(buffered_, 0, used);
        buffered_.erase(0, used);
        if (error == http::error::need_more) {
            if (!Fill()) return std::nullopt;
        } else if (error) {
            return std::nullopt;
        } else if (inHeader && parser.is_header_done() && WaitsForContinue(parser)) {
            stream_.WriteAll("HTTP/1.1 100 Continue\r\n\r\n");
        }
    }
    received.keepAlive = parser.get().keep_alive();
    received.request.method = std::string(parser.get().method_string());
    received.request.target = std::string(parser.get().target());
    received.request.body = std::move(parser.get().body());
    received.request.headers = std::move(static_cast<http::fields&>(parser.get()));
    return received;
}

}  // namespace qsn::service
