#pragma once

#include <windows.h>

#include <cstdint>
#include <string>

#include "engine/ExchangeGate.h"

namespace qsn {

// One POST as it is handed to the client.
struct HttpRequestInfo {
    std::string hostName;
    std::string verb;
    std::string objectPath;
    std::string headers;
    std::uint32_t headerLength;
    std::string body;
    std::uint32_t bodyLength;
    std::uint16_t port;
    std::uint32_t flags;
};

// Sends `request` through WinINet and appends the reply's body to `responseBody`; `token` and `digest` become the
// reply's "X-token" and "X-digest" headers, or stay as they are where it has none. Status 200 is the only success and
// redirects are never followed. The body is treated as text: a NUL cuts short the piece that it arrived in.
// E_FAIL: no connection, TLS refused, status other than 200. E_OUTOFMEMORY. E_UNEXPECTED: broken off in the body.
// E_ABORT: `gate` is closed, or was while the exchange ran.
HRESULT SendHttpsRequest(const HttpRequestInfo& request, ExchangeGate& gate, std::string* responseBody,
                         std::string* token, std::string* digest);

struct SplitURL {
    std::string scheme;
    std::string host;
    std::string path;
};
// Scheme and host in lower case; everything empty where `url` has no "://".
SplitURL SplitServerURL(const std::string& url);

}  // namespace qsn
