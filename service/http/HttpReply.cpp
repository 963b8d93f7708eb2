#include "service/http/HttpReply.h"

#include <algorithm>
#include <array>

#include "service/text/Text.h"

namespace qsn::service {
namespace {

struct StatusReason {
    int status;
    std::string_view reason;
};

constexpr std::array kReasons{StatusReason{200, "OK"},
                              StatusReason{204, "No Content"},
                              StatusReason{302, "Found"},
                              StatusReason{303, "See Other"},
                              StatusReason{400, "Bad Request"},
                              StatusReason{403, "Forbidden"},
                              StatusReason{404, "Not Found"},
                              StatusReason{405, "Method Not Allowed"},
                              StatusReason{407, "Proxy Authentication Required"},
                              StatusReason{410, "Gone"},
                              StatusReason{413, "Content Too Large"},
                              StatusReason{500, "Internal Server Error"},
                              StatusReason{502, "Bad Gateway"},
                              StatusReason{503, "Service Unavailable"}};

std::string_view ReasonOf(int status) {
    const auto found =
        std::find_if(kReasons.begin(), kReasons.end(), [&](const StatusReason& row) { return row.status == status; });
    return found == kReasons.end() ? "Status" : found->reason;
}

bool HasNoBody(int status) { return status < 200 || status == 204 || status == 304; }

std::string ChunkSizeLine(std::size_t size) {
    constexpr std::string_view kDigits = "0123456789abcdef";
    std::string digits;
    do {
        digits.insert(digits.begin(), kDigits[size % 16]);
    } while ((size /= 16) != 0);
    return digits + "\r\n";
}

std::string Chunked(std::string_view body, const ReplyChange& change) {
    std::string wire;
    for (std::size_t index = 0; !body.empty(); ++index) {
        const std::size_t asked = change.chunks[std::min(index, change.chunks.size() - 1)];
        const std::string_view chunk = body.substr(0, std::max<std::size_t>(asked, 1));
        wire += change.breakChunking && index == 1 ? "no size\r\n" : ChunkSizeLine(chunk.size());
        wire.append(chunk).append("\r\n");
        body.remove_prefix(chunk.size());
    }
    return wire + "0\r\n\r\n";
}

bool Has(const HeaderList& headers, std::string_view name) {
    return std::any_of(headers.begin(), headers.end(),
                       [&](const auto& header) { return EqualIgnoringCase(header.first, name); });
}

void CutAt(std::string& text, const std::optional<std::size_t>& limit, bool& cut) {
    if (!limit) return;
    text.resize(std::min(text.size(), *limit));
    cut = true;
}

}  // namespace

HttpReply HttpReply::Text(int status, std::string text) {
    return {status, {{"Content-Type", "text/plain; charset=UTF-8"}}, std::move(text)};
}

WireReply Compose(const HttpReply& reply, const ReplyChange& change, bool keepAlive) {
    WireReply wire;
    wire.closeAfter = !keepAlive;
    wire.header = change.before + "HTTP/1.1 " + std::to_string(reply.status) + ' ';
    wire.header.append(ReasonOf(reply.status)).append("\r\n");
    for (const auto& [name, value] : reply.headers) wire.header.append(name).append(": ").append(value).append("\r\n");
    if (!keepAlive) wire.header += "Connection: close\r\n";
    if (!reply.more.empty()) {
        wire.body = reply.body;
        wire.more = reply.more;
    } else if (!change.chunks.empty()) {
        wire.header += "Transfer-Encoding: chunked\r\n";
        wire.body = Chunked(reply.body, change);
    } else if (!HasNoBody(reply.status)) {
        if (!Has(reply.headers, "Content-Length")) {
            wire.header +=
                "Content-Length: " + std::to_string(change.contentLength.value_or(reply.body.size())) + "\r\n";
        }
        wire.body = reply.body;
    }
    wire.header += "\r\n";
    if (change.closeAfterHeaderBytes) wire.body.clear();
    CutAt(wire.header, change.closeAfterHeaderBytes, wire.closeAfter);
    CutAt(wire.body, change.closeAfterBodyBytes, wire.closeAfter);
    return wire;
}

bool Send(const WireReply& reply, const ReplyChange& change, ByteStream& stream, const StopSignal& stop) {
    const std::string bytes = reply.header + reply.body;
    const std::size_t piece = change.pieceSize == 0 ? bytes.size() : change.pieceSize;
    for (std::size_t sent = 0; sent < bytes.size(); sent += piece) {
        if (sent > 0 && change.pause.count() > 0 && stop.WaitFor(change.pause)) return false;
        if (!stream.WriteAll(std::string_view(bytes).substr(sent, piece))) return false;
    }
    while (!reply.more.empty()) {
        if (!stream.WriteAll(reply.more)) return false;
    }
    return !reply.closeAfter;
}

}  // namespace qsn::service
