#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace sample {

// A browser's request to the listener that waits for the login page's answer: the parts that the listener needs.
struct RedirectRequest {
    std::string method;
    std::string path;   // up to the question mark
    std::string query;  // after it, still escaped
    std::string host;   // the Host header
};

// `head`: everything up to the empty line. Nothing if it is not an HTTP/1 request, or does not have exactly one Host
// header.
std::optional<RedirectRequest> ParseRedirectRequest(std::string_view head);

// The unescaped value of `name`; nothing if it is missing, occurs twice, or is escaped wrongly.
std::optional<std::string> QueryValue(std::string_view query, std::string_view name);

// Takes as long for a nearly right guess as for an entirely wrong one.
bool SameSecret(std::string_view left, std::string_view right);

// Complete replies: a page of one sentence, and a redirection. `status` ends the first line, such as "404 Not Found".
std::string PageReply(std::string_view status, std::string_view sentence);
std::string RedirectReply(std::string_view path);

}  // namespace sample
