#include "RedirectRequest.h"

#include <cstddef>

namespace sample {
namespace {

// The address that brings the token must not be kept, framed or passed on.
constexpr char kHeaders[] =
    "Cache-Control: no-store\r\n"
    "Referrer-Policy: no-referrer\r\n"
    "Content-Security-Policy: default-src 'none'; frame-ancestors 'none'\r\n"
    "X-Content-Type-Options: nosniff\r\n"
    "X-Frame-Options: DENY\r\n"
    "Connection: close\r\n";

// Removes the text up to and including `separator` from `rest`, and returns the part before it; all if there is none.
std::string_view Cut(std::string_view& rest, std::string_view separator) {
    const std::size_t end = rest.find(separator);
    const std::string_view part = rest.substr(0, end);
    rest = end == std::string_view::npos ? std::string_view() : rest.substr(end + separator.size());
    return part;
}

char Lower(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }

bool IsHostHeader(std::string_view name) {
    constexpr std::string_view kHost = "host";
    if (name.size() != kHost.size()) return false;
    for (std::size_t i = 0; i < kHost.size(); ++i) {
        if (Lower(name[i]) != kHost[i]) return false;
    }
    return true;
}

std::string_view Trimmed(std::string_view text) {
    const std::size_t first = text.find_first_not_of(" \t");
    if (first == std::string_view::npos) return {};
    return text.substr(first, text.find_last_not_of(" \t") - first + 1);
}

int HexDigit(char c) {
    if (c >= '0' && c <= '9') return c - '0';
    const char lower = Lower(c);
    return lower >= 'a' && lower <= 'f' ? lower - 'a' + 10 : -1;
}

std::optional<std::string> Unescaped(std::string_view text) {
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

std::string Reply(std::string_view status, std::string_view ownHeader, std::string_view body) {
    std::string reply = "HTTP/1.1 ";
    reply.append(status).append("\r\n").append(kHeaders).append(ownHeader);
    reply.append("\r\nContent-Length: ").append(std::to_string(body.size())).append("\r\n\r\n").append(body);
    return reply;
}

}  // namespace

std::optional<RedirectRequest> ParseRedirectRequest(std::string_view head) {
    std::string_view line = Cut(head, "\r\n");
    RedirectRequest request;
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

std::optional<std::string> QueryValue(std::string_view query, std::string_view name) {
    std::optional<std::string_view> found;
    while (!query.empty()) {
        std::string_view value = Cut(query, "&");
        if (Cut(value, "=") != name) continue;
        if (found) return std::nullopt;
        found = value;
    }
    return found ? Unescaped(*found) : std::nullopt;
}

bool SameSecret(std::string_view left, std::string_view right) {
    if (left.size() != right.size()) return false;
    int difference = 0;
    for (std::size_t i = 0; i < left.size(); ++i) difference |= left[i] ^ right[i];
    return difference == 0;
}

std::string PageReply(std::string_view status, std::string_view sentence) {
    std::string body = "<!DOCTYPE html>\n<html lang=\"en\"><head><meta charset=\"utf-8\"><title>Sign-in</title></head>";
    body.append("<body><p role=\"status\">").append(sentence).append("</p></body></html>\n");
    return Reply(status, "Content-Type: text/html; charset=utf-8", body);
}

std::string RedirectReply(std::string_view path) {
    return Reply("303 See Other", "Location: " + std::string(path), "");
}

}  // namespace sample
