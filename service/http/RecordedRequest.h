#pragma once

#include <boost/beast/http/fields.hpp>
#include <optional>
#include <string>

namespace qsn::service {

enum class RequestCheck {
    kNotNeeded,      // pages, and paths that the service does not have
    kAccepted,       // token and digest match the body
    kMissing,        // "X-token" or "X-digest" absent or empty
    kBadToken,       // not hexadecimal, not the size of the request key, or no block of digits inside
    kDigestMismatch  // the digest is not that of the body, or not in lower case
};

// One request as it arrived, and what the service made of it.
struct RecordedRequest {
    std::string host;  // from CONNECT, lower case, without the port
    std::string method;
    std::string target;     // path and query
    std::string rawHeader;  // request line and header lines with their line ends, the empty line included
    boost::beast::http::fields headers;
    std::string body;  // the exact bytes

    std::string requestType;  // the operation: "getUserInfo", "memberRefresh", …; empty if there is none
    RequestCheck check = RequestCheck::kNotNeeded;
    std::string checkReason;  // why the check refused it
    std::string nonce;        // the digits inside "X-token", if they could be read
    std::string refusal;      // why the service refused it; empty if it did not

    // Of a member token's refresh: the plain text inside the envelope that is the body; empty if it did not decrypt.
    std::string decryptedBody;

    bool scripted = false;      // a script rule shaped the reply
    int status = 0;             // of the reply; 0: closed or silent without a reply
    std::optional<int> result;  // the "result" number of the reply
    std::string replyBody;      // before compression; empty for the login page
    std::string replySecret;    // of a member token's refresh: the text that leaves encrypted

    std::string Path() const { return target.substr(0, target.find('?')); }
};

}  // namespace qsn::service
