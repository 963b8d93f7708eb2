#pragma once

#include "AccountStore.h"
#include "Authenticator.h"
#include "HttpReply.h"
#include "Script.h"

namespace qsn::service {

struct Answer {
    HttpReply reply;
    ReplyChange change;
};

// From a received request to the reply: the service's own behaviour, then the script's changes. Any thread may call;
// the parts outlive it.
class Dispatcher {
public:
    Dispatcher(const HostNames& hosts, const Authenticator& authenticator, AccountStore& accounts, Script& script)
        : hosts_(hosts), authenticator_(authenticator), accounts_(accounts), script_(script) {}

    // Completes the request's record: type, check, status, result.
    Answer Run(RecordedRequest& request) const;

private:
    HttpReply Refuse(RecordedRequest& request, const ReplyChange& change) const;
    HttpReply RunOperation(RecordedRequest& request, const ReplyChange& change) const;
    HttpReply Respond(RecordedRequest& request, const ReplyChange& change) const;
    HttpReply Sealed(std::string body, const ReplyChange& change) const;

    const HostNames& hosts_;
    const Authenticator& authenticator_;
    AccountStore& accounts_;
    Script& script_;
};

}  // namespace qsn::service
