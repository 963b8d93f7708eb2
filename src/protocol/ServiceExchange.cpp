#include "protocol/ServiceExchange.h"

#include <utility>
#include <vector>

#include "Utility/Trace.h"
#include "protocol/KeyProvider.h"
#include "protocol/ResultCodes.h"

namespace qsn {
namespace {

std::vector<std::string> Headers(const AuthenticationPair& pair, const std::string& userAgent) {
    std::vector<std::string> headers{"Content-Type: application/json; charset=UTF-8",
                                     "Accept: application/json; charset=UTF-8", "Accept-Encoding: gzip, deflate",
                                     std::string("X-token: ") + pair.token, std::string("X-digest: ") + pair.digest};
    if (!userAgent.empty()) headers.push_back("User-Agent: " + userAgent);
    return headers;
}

}  // namespace

Outcome<SignedReply> ServiceExchange::CommunicateToServer(const ServerURL& url, std::string_view body,
                                                          const std::string& userAgent) {
    const ProvidedKey requestKey(KeySlot::kRequest);
    const auto pair = m_authentication.GenerateTokenAndDigest(requestKey.Blob(), body);
    if (FAILED(pair.result)) return {kRequestNotSigned};
    const HttpRequestInfo request{url, Headers(pair.value, userAgent), body};

    TraceA("Send data to Server\n");
    Outcome<SignedReply> reply = m_client.SendHttpsRequest(request);
    if (SUCCEEDED(reply.result)) return reply;
    TraceA("Send http request to server failed hr = %x, %s\n", static_cast<unsigned>(reply.result), url.Text().c_str());
    m_usageLog.Log(L"Send http request to server failed");
    return {reply.result};
}

HRESULT ServiceExchange::VerifyServerDigest(const SignedReply& reply) {
    if (reply.token.empty() || reply.digest.empty()) {
        TraceA("Verify: No token and digest !!\n");
        m_usageLog.Log(L"No auth info from server!!");
        return kReplyNotAuthentic;
    }
    const ProvidedKey replyKey(KeySlot::kReply);
    const HRESULT hr = m_authentication.CheckTokenAndDigest(replyKey.Blob(), reply.body, reply.token, reply.digest);
    TraceA("Verify result = %x\n", static_cast<unsigned>(hr));
    if (SUCCEEDED(hr)) return S_OK;
    if (hr == E_OUTOFMEMORY) return hr;
    m_usageLog.Log(L"Verify auth info from server failed!!");
    return kReplyNotAuthentic;
}

}  // namespace qsn
