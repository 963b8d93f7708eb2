/* A browser's request to a listener of this machine, and the replies to it. Part of <qsn/client/interactive.hpp>. */
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace qsn::detail {

// The parts of a request that the listener needs.
struct LoopbackRequest {
    std::string method;
    std::string path;   // up to the question mark
    std::string query;  // after it, still escaped
    std::string host;   // the Host header
};

// Removes the text up to and including `separator` from `rest`, and returns the part before it; all if there is none.
inline std::string_view Cut(std::string_view& rest, std::string_view separator) {
    const std::size_t end = rest.find(separator);
    const std::string_view part = rest.substr(0, end);
    rest = end == std::string_view::npos ? std::string_view() : rest.substr(end + separator.size());
    return part;
}

inline char Lower(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }

inline bool IsHostHeader(std::string_view name) {
    constexpr std::string_view kHost = "host";
    if (name.size() != kHost.size()) return false;
    for (std::size_t i = 0; i < kHost.size(); ++i) {
        if (Lower(name[i]) != kHost[i]) return false;
    }
    return true;
}

inline std::string_view Trimmed(std::string_view text) {
    const std::size_t first = text.find_first_not_of(" \t");
    if (first == std::string_view::npos) return {};
    return text.substr(first, text.find_last_not_of(" \t") - first + 1);
}

// `head`: everything up to the empty line. Nothing if it is not an HTTP/1 request, or does not have exactly one Host
// header.
inline std::optional<LoopbackRequest> ParseLoopbackRequest(std::string_view head) {
    std::string_view line = Cut(head, "\r\n");
    LoopbackRequest request;
    request.method = Cut(line, " ");
    std::string_view target = Cut(line, " ");
    if (line != "HTTP/1.1" && line != "HTTP/1.0") return std::nullopt;
    request.path = Cut(target, "?");
    request.query = target;
    int hosts = 0;
    while (!head.empty()) {
        std::string_view value = Cut(head, "\r\n");
        if (!IsHostHeader(Cut(value, ":"))) continue;
        request.host = Trimmed(value);
        ++hosts;
    }
    if (hosts != 1) return std::nullopt;
    return request;
}

inline int HexDigit(char c) {
    if (c >= '0' && c <= '9') return c - '0';
    const char lower = Lower(c);
    return lower >= 'a' && lower <= 'f' ? lower - 'a' + 10 : -1;
}

inline std::optional<std::string> Unescaped(std::string_view text) {
    std::string plain;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] != '%') {
            plain += text[i] == '+' ? ' ' : text[i];
            continue;
        }
        const int high = i + 2 < text.size() ? HexDigit(text[i + 1]) : -1;
        const int low = i + 2 < text.size() ? HexDigit(text[i + 2]) : -1;
        if (high < 0 || low < 0) return std::nullopt;
        plain += static_cast<char>(high * 16 + low);
        i += 2;
    }
    return plain;
}

// The unescaped value of `name`; nothing if it is missing, occurs twice, or is escaped wrongly.
inline std::optional<std::string> QueryValue(std::string_view query, std::string_view name) {
    std::optional<std::string_view> found;
    while (!query.empty()) {
        std::string_view value = Cut(query, "&");
        if (Cut(value, "=") != name) continue;
        if (found) return std::nullopt;
        found = value;
    }
    return found ? Unescaped(*found) : std::nullopt;
}

// Takes as long for a nearly right guess as for an entirely wrong one.
inline bool SameSecret(std::string_view left, std::string_view right) {
    if (left.size() != right.size()) return false;
    int difference = 0;
    for (std::size_t i = 0; i < left.size(); ++i) difference |= left[i] ^ right[i];
    return difference == 0;
}

inline std::string LoopbackReply(std::string_view status, std::string_view ownHeader, std::string_view body) {
    // The address that brings the token must not be kept, framed or passed on.
    constexpr char kHeaders[] =
        "Cache-Control: no-store\r\n"
        "Referrer-Policy: no-referrer\r\n"
        "Content-Security-Policy: default-src 'none'; frame-ancestors 'none'\r\n"
        "X-Content-Type-Options: nosniff\r\n"
        "X-Frame-Options: DENY\r\n"
        "Connection: close\r\n";
    std::string reply = "HTTP/1.1 ";
    reply.append(status).append("\r\n").append(kHeaders).append(ownHeader);
    reply.append("\r\nContent-Length: ").append(std::to_string(body.size())).append("\r\n\r\n").append(body);
    return reply;
}

inline std::string EscapedForPage(std::string_view text) {
    std::string escaped;
    for (const char c : text) {
        switch (c) {
            case '&': escaped += "&amp;"; break;
            case '<': escaped += "&lt;"; break;
            case '"': escaped += "&quot;"; break;
            default: escaped += c;
        }
    }
    return escaped;
}

// Complete replies: a page of one sentence, and a redirection. `status` ends the first line, such as "404 Not Found".
inline std::string PageReply(std::string_view status, std::string_view sentence, std::string_view language = "en",
                             std::string_view title = "Sign-in") {
    std::string body =
        "<!DOCTYPE html>\n<html lang=\"" + EscapedForPage(language) + "\"><head><meta charset=\"utf-8\">";
    body.append("<title>").append(EscapedForPage(title)).append("</title></head><body><p role=\"status\">");
    body.append(EscapedForPage(sentence)).append("</p></body></html>\n");
    return LoopbackReply(status, "Content-Type: text/html; charset=utf-8", body);
}
inline std::string RedirectReply(std::string_view path) {
    return LoopbackReply("303 See Other", "Location: " + std::string(path), "");
}

}  // namespace qsn::detail
