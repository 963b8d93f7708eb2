#pragma once

#include <windows.h>

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Utility/Interruption.h"
#include "Utility/Outcome.h"
#include "protocol/CurlLibrary.h"
#include "protocol/CurlOwners.h"
#include "protocol/Endpoints.h"
#include "protocol/ExchangeReport.h"
#include "protocol/NameResolution.h"
#include "protocol/PeerCheck.h"
#include "protocol/ProxySettings.h"
#include "protocol/ReplyReader.h"
#include "protocol/TransferError.h"

namespace qsn {

// A POST to port 443.
struct HttpRequestInfo {
    ServerURL url;
    std::vector<std::string> headers;  // "Name: value" each, in the order in which they leave
    std::string_view body;
};

// The HTTPS client of one session: libcurl with the system's TLS. Nothing but https, no redirect, no cookie, no cache;
// TLS 1.2 at least; the user's proxy settings as they are at the time of each exchange. A connection is kept for the
// next exchange. For one thread.
class HttpsClient {
public:
    // `interruption` ends an exchange within milliseconds. Whoever tends meanwhile may call `Close`.
    explicit HttpsClient(Interruption& interruption) noexcept : m_interruption(interruption) {}
    HttpsClient(const HttpsClient&) = delete;
    HttpsClient& operator=(const HttpsClient&) = delete;
    ~HttpsClient();

    // Ends by itself at last: connecting takes 30 s at most for each way that the proxy settings name, and 60 s without
    // a byte end an exchange. A failure's reply holds what came of it until then. E_FAIL: no connection, TLS or
    // certificate refused, status other than 200. E_UNEXPECTED: the body is broken, ends too early, or has more than
    // 256 MiB. E_OUTOFMEMORY. E_ABORT: broken off.
    Outcome<SignedReply> SendHttpsRequest(const HttpRequestInfo& request);

    // Of all exchanges since the owner emptied it.
    ExchangeReport& Report() noexcept { return m_report; }

    // Ends what is left of the session's connections. On the exchanging thread, or when that has ended; there is no
    // exchange afterwards.
    void Close() noexcept;

private:
    struct Exchange;

    void Release() noexcept;
    HRESULT RunExchange(const HttpRequestInfo& request, SignedReply& reply);
    bool Open();
    TransferError TryWay(const std::string& proxy, Exchange& exchange);
    TransferError Perform(Exchange& exchange);
    long long Progress() const;

    Interruption& m_interruption;
    ExchangeReport m_report;
    bool m_isExchanging = false;
    std::optional<CurlLibrary> m_library;  // ahead of what needs it
    UniqueMulti m_multi;
    UniqueEasy m_easy;
    ProxySettings m_proxySettings;
    PeerCheck m_peerCheck;
    KnownAddresses m_addresses;
};

}  // namespace qsn
