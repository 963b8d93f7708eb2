#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace sample {

// What a browser asks of the listener that waits for the login page's answer, as far as that listener cares.
struct RedirectRequest {
    std::string method;
    std::string path;   // up to the question mark
    std::string query;  // behind it, still escaped
    std::string host;   // the Host header
};

// `head`: everything up to the empty line. Nothing where it is no HTTP/1 request, or not exactly one Host header is
// there.
std::optional<RedirectRequest> ParseRedirectRequest(std::string_view head);

// The unescaped value of `name`; nothing where it is missing, there twice, or escaped wrongly.
std::optional<std::string> QueryValue(std::string_view query, std::string_view name);

// Takes as long for a nearly right guess as for a wrong one.
bool SameSecret(std::string_view left, std::string_view right);

// Whole replies: a page of one sentence, and the way to another page. `status` is the line's end: "404 Not Found".
std::string PageReply(std::string_view status, std::string_view sentence);
std::string RedirectReply(std::string_view path);

}  // namespace sample
