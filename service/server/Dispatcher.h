#pragma once

#include "service/accounts/AccountStore.h"
#include "service/http/HttpReply.h"
#include "service/http/Script.h"
#include "service/operations/Authenticator.h"
#include "service/operations/MemberAuth.h"
#include "service/pages/LoginService.h"

namespace qsn::service {

struct Answer {
    HttpReply reply;
    ReplyChange change;
};

// From a received request to the reply: the service's own behaviour, then the script's changes. Any thread may call.
// The parts outlive it.
class Dispatcher {
public:
    Dispatcher(const HostNames& hosts, const Authenticator& authenticator, const MemberAuth& member,
               const LoginService& login, AccountStore& accounts, Script& script)
        : hosts_(hosts),
          authenticator_(authenticator),
          member_(member),
          login_(login),
          accounts_(accounts),
          script_(script) {}

    // Completes the request's record: type, check, status, result.
    Answer Run(RecordedRequest& request) const;

private:
    HttpReply RespondAsPage(const RecordedRequest& request) const;
    HttpReply RespondAsMember(RecordedRequest& request, const ReplyChange& change) const;
    HttpReply RunOperation(RecordedRequest& request, const ReplyChange& change) const;
    HttpReply Respond(RecordedRequest& request, const ReplyChange& change) const;
    HttpReply Sealed(std::string body, const ReplyChange& change) const;

    const HostNames& hosts_;
    const Authenticator& authenticator_;
    const MemberAuth& member_;
    const LoginService& login_;
    AccountStore& accounts_;
    Script& script_;
};

}  // namespace qsn::service
