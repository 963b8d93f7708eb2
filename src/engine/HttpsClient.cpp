#include "engine/HttpsClient.h"

#include <wininet.h>

#include <algorithm>
#include <cstdio>
#include <memory>

#include "Utility/Guard.h"
#include "Utility/Trace.h"
#include "Utility/Win32Owners.h"

namespace qsn {
namespace {

struct InternetHandleTraits {
    using Value = HINTERNET;
    static constexpr Value kInvalid = nullptr;
    static void Close(Value value) noexcept { InternetCloseHandle(value); }
};
using UniqueInternetHandle = UniqueResource<InternetHandleTraits>;

constexpr DWORD kHttpDecoding = 65;  // INTERNET_OPTION_HTTP_DECODING, missing from some SDKs

void ToLower(std::string& text) {
    std::ranges::transform(text, text.begin(), [](char c) { return c >= 'A' && c <= 'Z' ? char(c - 'A' + 'a') : c; });
}

DWORD StatusCode(HINTERNET request) {
    DWORD code = 0;
    DWORD size = sizeof(code);
    if (!HttpQueryInfoW(request, HTTP_QUERY_STATUS_CODE | HTTP_QUERY_FLAG_NUMBER, &code, &size, nullptr)) return 0;
    return code;
}

void ReadCustomHeader(HINTERNET request, const char* name, std::string* value) {
    char buffer[1024] = {};
    std::snprintf(buffer, sizeof(buffer), "%s", name);
    DWORD size = sizeof(buffer);
    if (HttpQueryInfoA(request, HTTP_QUERY_CUSTOM, buffer, &size, nullptr)) value->assign(buffer);
}

HRESULT ReadBody(HINTERNET request, const ExchangeGate& gate, std::string* body) {
    DWORD available = 0;
    // A query that fails ends the body: what has arrived is judged by its digest, not here.
    while (InternetQueryDataAvailable(request, &available, 0, 0) && available != 0) {
        if (gate.IsClosed()) return E_ABORT;
        const std::unique_ptr<char, LocalFreeDeleter> chunk(static_cast<char*>(LocalAlloc(LPTR, available + 1u)));
        if (!chunk) return E_OUTOFMEMORY;
        DWORD read = 0;
        if (!InternetReadFile(request, chunk.get(), available, &read)) return E_UNEXPECTED;
        chunk.get()[read] = '\0';
        body->append(chunk.get());
    }
    return S_OK;
}

HRESULT Exchange(const HttpRequestInfo& request, const ExchangeGate& gate, std::string* responseBody,
                 std::string* token, std::string* digest) {
    // No agent name: the service takes a User-Agent line for a member-auth call.
    const UniqueInternetHandle session(InternetOpenA(nullptr, INTERNET_OPEN_TYPE_PRECONFIG, nullptr, nullptr, 0));
    if (!session) return E_FAIL;
    const UniqueInternetHandle connection(InternetConnectA(session.Get(), request.hostName.c_str(), request.port,
                                                           nullptr, nullptr, INTERNET_SERVICE_HTTP, request.flags, 0));
    if (!connection) return E_FAIL;
    const UniqueInternetHandle exchange(HttpOpenRequestA(connection.Get(), request.verb.c_str(),
                                                         request.objectPath.c_str(), nullptr, nullptr, nullptr,
                                                         request.flags | INTERNET_FLAG_NO_AUTO_REDIRECT, 0));
    if (!exchange) return E_FAIL;

    BOOL decode = TRUE;
    InternetSetOptionW(exchange.Get(), kHttpDecoding, &decode, sizeof(decode));
    if (!HttpSendRequestA(exchange.Get(), request.headers.c_str(), request.headerLength,
                          const_cast<char*>(request.body.data()), request.bodyLength)) {
        TraceA("HTTP send request fail, last error = %d\n", static_cast<int>(GetLastError()));
        return E_FAIL;
    }
    const DWORD status = StatusCode(exchange.Get());
    if (status != HTTP_STATUS_OK) {
        TraceA("HTTP error: code = %d\n", static_cast<int>(status));
        return E_FAIL;
    }
    ReadCustomHeader(exchange.Get(), "X-token", token);
    ReadCustomHeader(exchange.Get(), "X-digest", digest);
    return ReadBody(exchange.Get(), gate, responseBody);
}

}  // namespace

HRESULT SendHttpsRequest(const HttpRequestInfo& request, ExchangeGate& gate, std::string* responseBody,
                         std::string* token, std::string* digest) {
    if (!gate.Enter()) return E_ABORT;
    const HRESULT hr = Guarded([&] { return Exchange(request, gate, responseBody, token, digest); });
    return gate.Leave() ? hr : E_ABORT;
}

SplitURL SplitServerURL(const std::string& url) {
    SplitURL parts;
    const std::size_t mark = url.find("://");
    if (mark == std::string::npos) return parts;
    const std::size_t host = mark + 3;
    const std::size_t path = std::min(url.find('/', host), url.size());
    parts.scheme = url.substr(0, mark);
    parts.host = url.substr(host, path - host);
    parts.path = url.substr(path);
    ToLower(parts.scheme);
    ToLower(parts.host);
    return parts;
}

}  // namespace qsn
