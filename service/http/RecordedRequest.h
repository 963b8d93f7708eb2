#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace qsn::service {

using HeaderList = std::vector<std::pair<std::string, std::string>>;

enum class RequestCheck {
    kNotNeeded,      // pages, and paths that the service does not have
    kAccepted,       // token and digest match the body
    kMissing,        // "X-token" or "X-digest" absent or empty
    kBadToken,       // no hexadecimal, not the size of the request key, or no block of digits inside
    kDigestMismatch  // the digest is not that of the body, or not in lower case
};

// One request as it arrived, and what the service made of it.
struct RecordedRequest {
    std::string host;  // from CONNECT, lower case, without the port
    std::string method;
    std::string target;     // path and query
    std::string rawHeader;  // request line and header lines with their line ends, the empty line included
    HeaderList headers;     // in order of arrival, names as sent
    std::string body;       // the exact bytes

    std::string requestType;  // the operation: "getUserInfo", "memberRefresh", …; empty where there is none
    RequestCheck check = RequestCheck::kNotNeeded;
    std::string checkReason;  // why the check refused it
    std::string nonce;        // the digits inside "X-token", when they could be read
    std::string refusal;      // why the service refused it; empty when it did not

    // Of a member token's refresh; `body` is its envelope.
    std::string memberIdentifier;  // behind "refresh/" in the path
    std::string decryptedBody;     // the plain text inside the envelope; empty when it did not decrypt

    bool scripted = false;      // a script rule shaped the reply
    int status = 0;             // of the reply; 0: closed or silent without a reply
    std::optional<int> result;  // the "result" number of the reply
    std::string replyBody;      // before compression; empty for the login page
    std::string replySecret;    // of a member token's refresh: the text that leaves encrypted

    // The first header of that name, without regard to case; null when it was not sent.
    const std::string* Header(std::string_view name) const;
    std::string Path() const;
};

std::string_view ToText(RequestCheck check);

}  // namespace qsn::service
