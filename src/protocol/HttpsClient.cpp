#include "protocol/HttpsClient.h"

#include <winsock2.h>
#include <ws2tcpip.h>

#include <algorithm>
#include <array>
#include <new>
#include <utility>

#include "Utility/Clock.h"
#include "Utility/Guard.h"
#include "Utility/Trace.h"

namespace qsn {
namespace {

constexpr DWORD kTimeToFindProxy = 30000;      // ms
constexpr DWORD kTimeToResolve = 30000;        // ms
constexpr long kTimeToConnect = 30000;         // ms, handshakes included
constexpr ULONGLONG kTimeWithoutByte = 60000;  // ms
constexpr DWORD kLookAtTheClock = 1000;        // ms
constexpr int kOkStatus = 200;

template <class Value>
void Set(CURL* easy, CURLoption option, Value value) {
    // Nothing else can fail here: the options are known, and none gets a value out of its range.
    if (curl_easy_setopt(easy, option, value) != CURLE_OK) throw std::bad_alloc();
}

void Append(UniqueCurlList& list, const std::string& line) {
    curl_slist* const longer = curl_slist_append(list.get(), line.c_str());
    if (!longer) throw std::bad_alloc();
    static_cast<void>(list.release());
    list.reset(longer);
}

bool IsNumeric(const std::string& host) {
    std::array<unsigned char, sizeof(in6_addr)> address{};
    return host.starts_with('[') || inet_pton(AF_INET, host.c_str(), address.data()) == 1;
}

struct Endpoint {
    std::string host;
    std::string port;
};

// Of a proxy's address, as the settings gave it.
Endpoint EndpointOf(const std::string& proxy) {
    const UniqueCurlUrl url(curl_url());
    if (!url) throw std::bad_alloc();
    constexpr unsigned kLeniently = CURLU_NON_SUPPORT_SCHEME | CURLU_GUESS_SCHEME;
    if (curl_url_set(url.get(), CURLUPART_URL, proxy.c_str(), kLeniently) != CURLUE_OK) return {};
    char* host = nullptr;
    char* port = nullptr;
    if (curl_url_get(url.get(), CURLUPART_HOST, &host, 0) != CURLUE_OK) return {};
    const UniqueCurlText ownedHost(host);
    if (curl_url_get(url.get(), CURLUPART_PORT, &port, CURLU_DEFAULT_PORT) != CURLUE_OK) return {};
    const UniqueCurlText ownedPort(port);
    return {host, port};
}

// The transfer's place among those that libcurl drives; taken out, one that has not ended is broken off.
class DrivenTransfer {
public:
    DrivenTransfer(CURLM* multi, CURL* easy) : m_multi(multi), m_easy(easy) {
        if (curl_multi_add_handle(multi, easy) != CURLM_OK) throw std::bad_alloc();
    }
    DrivenTransfer(const DrivenTransfer&) = delete;
    DrivenTransfer& operator=(const DrivenTransfer&) = delete;
    ~DrivenTransfer() { curl_multi_remove_handle(m_multi, m_easy); }

    // True if it has ended, with its result in `code`.
    bool Drive(CURLcode* code) const {
        int count = 0;
        if (curl_multi_perform(m_multi, &count) != CURLM_OK) throw std::bad_alloc();
        const CURLMsg* const message = curl_multi_info_read(m_multi, &count);
        if (!message || message->msg != CURLMSG_DONE) return false;
        *code = message->data.result;
        return true;
    }

private:
    CURLM* m_multi;
    CURL* m_easy;
};

}  // namespace

// What libcurl's callbacks work on.
struct HttpsClient::Exchange {
    HttpsClient& client;
    const HttpRequestInfo& request;
    ReplyReader reader;
    UniqueCurlList headers;
    TransferError refusal = TransferError::kNone;  // of the other end, before anything was sent
    bool requestLeft = false;
    bool outOfMemory = false;
    std::array<char, CURL_ERROR_SIZE> words{};

    // No exception goes through libcurl.
    template <class Work>
    bool Noted(Work&& work) noexcept {
        bool goesOn = false;
        outOfMemory |= FAILED(Guarded([&] {
            goesOn = work();
            return S_OK;
        }));
        return goesOn;
    }

    static int BeforeRequest(void* data, char*, char*, int, int) {
        auto& exchange = *static_cast<Exchange*>(data);
        CURL* const easy = exchange.client.m_easy.get();
        exchange.requestLeft = exchange.Noted([&] {
            exchange.refusal = exchange.client.m_peerCheck.Check(easy, exchange.request.url.host);
            return exchange.refusal == TransferError::kNone;
        });
        if (exchange.requestLeft) return CURL_PREREQFUNC_OK;
        // libcurl would keep the connection for the next request.
        curl_easy_setopt(easy, CURLOPT_FORBID_REUSE, 1L);
        return CURL_PREREQFUNC_ABORT;
    }
    static std::size_t OnHeader(char* data, std::size_t size, std::size_t count, void* exchange) {
        auto& self = *static_cast<Exchange*>(exchange);
        return self.Noted([&] { return self.reader.TakeHeaderLine({data, size * count}); }) ? size * count : 0;
    }
    static std::size_t OnBody(char* data, std::size_t size, std::size_t count, void* exchange) {
        auto& self = *static_cast<Exchange*>(exchange);
        return self.Noted([&] { return self.reader.TakeBody({data, size * count}); }) ? size * count : 0;
    }

    void Prepare(CURL* easy) {
        curl_easy_reset(easy);
        Set(easy, CURLOPT_NOSIGNAL, 1L);
        Set(easy, CURLOPT_ERRORBUFFER, words.data());
        Set(easy, CURLOPT_PROTOCOLS_STR, "https");
        Set(easy, CURLOPT_HTTP_VERSION, long{CURL_HTTP_VERSION_1_1});
        Set(easy, CURLOPT_SSLVERSION, long{CURL_SSLVERSION_TLSv1_2});
        // It would fetch lists of revoked certificates in the middle of the handshake, where nobody can break it off.
        Set(easy, CURLOPT_SSL_OPTIONS, long{CURLSSLOPT_NO_REVOKE});
        Set(easy, CURLOPT_PREREQFUNCTION, &BeforeRequest);
        Set(easy, CURLOPT_PREREQDATA, static_cast<void*>(this));
        Set(easy, CURLOPT_CONNECTTIMEOUT_MS, kTimeToConnect);
        Set(easy, CURLOPT_SUPPRESS_CONNECT_HEADERS, 1L);
        // Towards the proxy the user's own Windows credentials.
        Set(easy, CURLOPT_PROXYAUTH, static_cast<long>(CURLAUTH_NEGOTIATE | CURLAUTH_NTLM));
        Set(easy, CURLOPT_PROXYUSERPWD, ":");
        // Nor is the environment asked for exceptions.
        Set(easy, CURLOPT_NOPROXY, "");
        PrepareRequest(easy);
        Set(easy, CURLOPT_HEADERFUNCTION, &OnHeader);
        Set(easy, CURLOPT_HEADERDATA, static_cast<void*>(this));
        Set(easy, CURLOPT_WRITEFUNCTION, &OnBody);
        Set(easy, CURLOPT_WRITEDATA, static_cast<void*>(this));
    }
    void PrepareRequest(CURL* easy) {
        Set(easy, CURLOPT_URL, request.url.Text().c_str());
        Set(easy, CURLOPT_PATH_AS_IS, 1L);
        for (const std::string& line : request.headers) Append(headers, line);
        Append(headers, "Expect:");  // a large body does not wait for the service's leave
        Set(easy, CURLOPT_HTTPHEADER, headers.get());
        Set(easy, CURLOPT_POST, 1L);
        Set(easy, CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(request.body.size()));
        Set(easy, CURLOPT_POSTFIELDS, request.body.data());
    }
};

HttpsClient::~HttpsClient() { Close(); }

// Inside an exchange, because the host has ended the session in the middle of it, the exchange does the rest.
void HttpsClient::Close() noexcept {
    m_interruption.BreakOff();
    if (!m_isExchanging) Release();
}

void HttpsClient::Release() noexcept {
    m_easy.reset();
    m_multi.reset();
    m_library.reset();
}

Outcome<SignedReply> HttpsClient::SendHttpsRequest(const HttpRequestInfo& request) {
    SignedReply reply;
    const std::uint64_t start = Milliseconds();
    m_report = {.wireTime = m_report.wireTime};
    m_isExchanging = true;
    m_report.result = Guarded([&] { return RunExchange(request, reply); });
    m_isExchanging = false;
    m_report.wireTime += Milliseconds() - start;
    if (m_interruption.IsBrokenOffForGood()) Release();
    return {m_report.result, std::move(reply)};
}

HRESULT HttpsClient::RunExchange(const HttpRequestInfo& request, SignedReply& reply) {
    Exchange exchange{*this, request, ReplyReader(reply), {}};
    TransferError error = TransferError::kBrokenOff;
    if (!m_interruption.IsBrokenOff()) {
        if (!Open()) return E_OUTOFMEMORY;
        exchange.Prepare(m_easy.get());
        for (const std::string& proxy : m_proxySettings.For(request.url.host, m_interruption, kTimeToFindProxy)) {
            error = TryWay(proxy, exchange);
            if (exchange.requestLeft || !IsConnectFailure(error)) break;
        }
    }
    const int status = exchange.reader.Status();
    m_report.httpStatus = status;
    if (error == TransferError::kNone) return S_OK;
    if (exchange.outOfMemory) return E_OUTOFMEMORY;
    const bool isBrokenOff = m_interruption.IsBrokenOff();
    if (isBrokenOff) error = TransferError::kBrokenOff;
    if (isBrokenOff || status == 0 || status == kOkStatus) m_report.error = error;
    if (isBrokenOff || status == 0) {
        TraceA("HTTP send request fail, last error = %d\n", static_cast<int>(error));
        return isBrokenOff ? E_ABORT : E_FAIL;
    }
    if (status == kOkStatus) return E_UNEXPECTED;
    TraceA("HTTP error: code = %d\n", status);
    return E_FAIL;
}

bool HttpsClient::Open() {
    if (m_easy) return true;
    m_library.emplace();
    if (!m_library->IsStarted()) return false;
    UniqueMulti multi(curl_multi_init());
    UniqueEasy easy(curl_easy_init());
    if (!multi || !easy) return false;
    m_easy = std::move(easy);
    m_multi = std::move(multi);
    return true;
}

// `proxy` is empty for the way without one.
TransferError HttpsClient::TryWay(const std::string& proxy, Exchange& exchange) {
    const Endpoint next = proxy.empty() ? Endpoint{exchange.request.url.host, "443"} : EndpointOf(proxy);
    if (next.host.empty()) return TransferError::kName;
    UniqueCurlList known;
    // libcurl is never left to resolve a name: it would do so on a thread of its own, or hold everything up.
    if (!IsNumeric(next.host)) {
        const std::string addresses = m_addresses.For(next.host, next.port, m_interruption, kTimeToResolve);
        if (addresses.empty()) return TransferError::kName;
        Append(known, next.host + ':' + next.port + ':' + addresses);
    }
    Set(m_easy.get(), CURLOPT_RESOLVE, known.get());
    Set(m_easy.get(), CURLOPT_PROXY, proxy.c_str());
    return Perform(exchange);
}

TransferError HttpsClient::Perform(Exchange& exchange) {
    const DrivenTransfer transfer(m_multi.get(), m_easy.get());
    const Interruption::OwnWait wait(
        m_interruption, [](void* multi) { curl_multi_wakeup(multi); }, m_multi.get());
    ULONGLONG lastByte = GetTickCount64();
    long long progress = 0;
    CURLcode code = CURLE_OK;
    while (!transfer.Drive(&code)) {
        if (const long long now = Progress(); now != progress) {
            progress = now;
            lastByte = GetTickCount64();
        }
        if (GetTickCount64() - lastByte >= kTimeWithoutByte) return TransferError::kTimeout;
        const DWORD pause = m_interruption.Tend();
        if (m_interruption.IsBrokenOff()) return TransferError::kBrokenOff;
        // Woken by an interruption, before this or during it.
        curl_multi_poll(m_multi.get(), nullptr, 0, static_cast<int>(std::min(pause, kLookAtTheClock)), nullptr);
        if (m_interruption.IsBrokenOff()) return TransferError::kBrokenOff;
    }
    if (code == CURLE_OK) return exchange.reader.IsComplete() ? TransferError::kNone : TransferError::kNotHttp;
    exchange.outOfMemory |= code == CURLE_OUT_OF_MEMORY;
    if (exchange.refusal != TransferError::kNone) return exchange.refusal;
    long tunnel = 0;
    curl_easy_getinfo(m_easy.get(), CURLINFO_HTTP_CONNECTCODE, &tunnel);
    const bool isRefused = tunnel >= 300 && !exchange.requestLeft;
    return isRefused ? TransferError::kConnect : ErrorOfTransfer(code, exchange.words.data());
}

long long HttpsClient::Progress() const {
    curl_off_t sent = 0;
    curl_off_t body = 0;
    long head = 0;
    curl_easy_getinfo(m_easy.get(), CURLINFO_SIZE_UPLOAD_T, &sent);
    curl_easy_getinfo(m_easy.get(), CURLINFO_SIZE_DOWNLOAD_T, &body);
    curl_easy_getinfo(m_easy.get(), CURLINFO_HEADER_SIZE, &head);
    return sent + body + head;
}

}  // namespace qsn
