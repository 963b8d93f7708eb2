#pragma once

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "service/accounts/AccountStore.h"
#include "service/http/RecordedRequest.h"
#include "service/http/Script.h"
#include "service/net/CertificateAuthority.h"
#include "service/net/HostNames.h"
#include "service/net/TlsFault.h"
#include "service/operations/MemberAuth.h"
#include "service/server/RequestLog.h"

namespace qsn::service {

struct ServerOptions {
    std::filesystem::path keyFolder;  // holds request_private.pem and reply_public.pem; member_private.pem is optional
    Accounts accounts = {};
    HostNames hosts = HostNames::OfThisBuild();
    std::uint16_t port = 0;                                                     // 0: any free one
    std::shared_ptr<const CertificateAuthority> authority = {};                 // null: a new one for this server
    std::size_t historySize = 0;                                                // requests on the developer page
    bool keepRequests = true;                                                   // false: TakeRequests stays empty
    std::function<void(const RecordedRequest&)> onRequest = {};                 // on the connection's thread
    std::function<void(const std::string& target, int status)> onRefused = {};  // by the proxy; 0: without an answer
};

// The account service on one port of 127.0.0.1: a proxy that accepts CONNECT for its own hosts only and speaks TLS and
// HTTP/1.1 on the same socket. To a browser that asks the port itself it shows the login page and, at "/", the page for
// developers. It runs from construction to destruction. Destruction ends every connection at once,
// even those with a delayed or silent reply. Any thread may call any member.
class AccountServer {
public:
    // Throws std::runtime_error: keys unreadable, port taken.
    explicit AccountServer(ServerOptions options);
    ~AccountServer();
    AccountServer(const AccountServer&) = delete;
    AccountServer& operator=(const AccountServer&) = delete;

    std::uint16_t Port() const;
    const CertificateAuthority& Authority() const;
    AccountStore& Accounts();
    Script& Rules();
    MemberAuth& Members();
    // A member token of the user, valid from now on. Throws std::invalid_argument if there is no such user.
    std::string IssueMemberToken(std::string_view userId, std::chrono::seconds lifetime);

    // Both end the existing connections before they return, because a client keeps using those that it has. Not to be
    // called from the callbacks of the options.
    void SetTlsFault(TlsFault fault);
    void DropConnections();

    static constexpr int kNoAnswer = -1;
    // The status that the next tunnels are refused with. 407 asks for a login, kNoAnswer keeps the client waiting, and
    // 0 accepts them again.
    void RefuseTunnels(int status);

    // All requests since the last call, in order of arrival. A request is listed before its reply is sent.
    std::vector<RecordedRequest> TakeRequests();
    // Waits until there are at least `count` requests to take. False if `timeout` comes first.
    bool WaitForRequests(std::size_t count, std::chrono::milliseconds timeout);
    Counters Count() const;

private:
    class Impl;
    std::unique_ptr<Impl> impl_;
};

}  // namespace qsn::service
