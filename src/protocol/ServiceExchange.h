#pragma once

#include <windows.h>

#include <string>
#include <string_view>

#include "Utility/OrbLogger.h"
#include "Utility/Outcome.h"
#include "protocol/Endpoints.h"
#include "protocol/HttpsClient.h"
#include "protocol/MessageAuthentication.h"

namespace qsn {

// One request to the service and its reply: signed, sent, verified. For one thread.
class ServiceExchange {
public:
    // `usageLog` is told of what fails. Neither is owned.
    ServiceExchange(Interruption& interruption, OrbLogger& usageLog) : m_usageLog(usageLog), m_client(interruption) {}

    // Posts `body` to `url`, as `userAgent` if that is not empty: the service takes a request with one for a
    // member-auth call. kRequestNotSigned, or a failure of `HttpsClient::SendHttpsRequest`; the reply is empty then.
    Outcome<SignedReply> CommunicateToServer(const ServerURL& url, std::string_view body,
                                             const std::string& userAgent = {});

    // Whether the service has made the reply. kReplyNotAuthentic if not; E_OUTOFMEMORY if that could not be found out.
    HRESULT VerifyServerDigest(const SignedReply& reply);

    HttpsClient& Client() noexcept { return m_client; }

private:
    OrbLogger& m_usageLog;
    HttpsClient m_client;
    MessageAuthentication m_authentication;
};

}  // namespace qsn
