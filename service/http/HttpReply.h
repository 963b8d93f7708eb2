#pragma once

#include <string>

#include "service/http/RecordedRequest.h"
#include "service/http/Script.h"
#include "service/net/ByteStream.h"

namespace qsn::service {

struct HttpReply {
    int status = 200;
    boost::beast::http::fields headers = {};
    std::string body = {};
    std::string more = {};  // not empty: sent behind the body again and again

    static HttpReply Of(int status, std::string_view type, std::string body);
    static HttpReply Text(int status, std::string text) {
        return Of(status, "text/plain; charset=UTF-8", std::move(text));
    }
};

// With the changes, and at the pace that they ask for. False: the connection is to be closed.
bool Send(const HttpReply& reply, const ReplyChange& change, bool keepAlive, ByteStream& stream,
          const StopSignal& stop);

}  // namespace qsn::service
