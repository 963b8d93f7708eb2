#include "service/http/HttpReply.h"

#include <algorithm>
#include <boost/beast/core/buffers_to_string.hpp>
#include <boost/beast/http/chunk_encode.hpp>
#include <boost/beast/http/status.hpp>

namespace qsn::service {
namespace {

namespace http = boost::beast::http;

struct WireReply {
    std::string bytes;
    bool closeAfter = false;
};

bool HasNoBody(int status) { return status < 200 || status == 204 || status == 304; }

std::string Chunked(std::string_view body, const ReplyChange& change) {
    std::string wire;
    for (std::size_t index = 0; !body.empty(); ++index) {
        const std::size_t asked = change.chunks[std::min(index, change.chunks.size() - 1)];
        const std::string_view chunk = body.substr(0, std::max<std::size_t>(asked, 1));
        if (change.breakChunking && index == 1) {
            wire.append("no size\r\n").append(chunk).append("\r\n");
        } else {
            wire += boost::beast::buffers_to_string(http::make_chunk(boost::asio::buffer(chunk)));
        }
        body.remove_prefix(chunk.size());
    }
    return wire + "0\r\n\r\n";
}

std::string Cut(const std::string& text, const std::optional<std::size_t>& limit) {
    return limit ? text.substr(0, *limit) : text;
}

std::string HeaderText(const HttpReply& reply, const ReplyChange& change, http::fields headers) {
    for (const auto& [name, value] : change.headers) headers.erase(name);
    std::string text = change.before + "HTTP/1.1 " + std::to_string(reply.status) + ' ';
    text.append(http::obsolete_reason(http::int_to_status(static_cast<unsigned>(reply.status)))).append("\r\n");
    for (const auto& field : headers)
        text.append(field.name_string()).append(": ").append(field.value()).append("\r\n");
    for (const auto& [name, value] : change.headers) text.append(name).append(": ").append(value).append("\r\n");
    return text + "\r\n";
}

WireReply Compose(const HttpReply& reply, const ReplyChange& change, bool keepAlive) {
    std::string body = reply.body;
    http::fields headers = reply.headers;
    if (!keepAlive) headers.set(http::field::connection, "close");
    if (!reply.more.empty()) {
        // Its length is not known.
    } else if (!change.chunks.empty()) {
        headers.set(http::field::transfer_encoding, "chunked");
        body = Chunked(reply.body, change);
    } else if (HasNoBody(reply.status)) {
        body.clear();
    } else {
        headers.set(http::field::content_length, std::to_string(change.contentLength.value_or(body.size())));
    }
    const std::string header = HeaderText(reply, change, std::move(headers));
    if (change.closeAfterHeaderBytes) return {Cut(header, change.closeAfterHeaderBytes), true};
    return {header + Cut(body, change.closeAfterBodyBytes), !keepAlive || change.closeAfterBodyBytes};
}

}  // namespace

HttpReply HttpReply::Of(int status, std::string_view type, std::string body) {
    HttpReply reply{status, {}, std::move(body)};
    reply.headers.set(http::field::content_type, type);
    return reply;
}

bool Send(const HttpReply& reply, const ReplyChange& change, bool keepAlive, ByteStream& stream,
          const StopSignal& stop) {
    const WireReply wire = Compose(reply, change, keepAlive);
    const std::size_t piece = change.pieceSize == 0 ? wire.bytes.size() : change.pieceSize;
    for (std::size_t sent = 0; sent < wire.bytes.size(); sent += piece) {
        if (sent > 0 && change.pause.count() > 0 && stop.WaitFor(change.pause)) return false;
        if (!stream.WriteAll(std::string_view(wire.bytes).substr(sent, piece))) return false;
    }
    while (!reply.more.empty()) {
        if (!stream.WriteAll(reply.more)) return false;
    }
    return !wire.closeAfter;
}

}  // namespace qsn::service
