#pragma once

#include <optional>
#include <string>

#include "service/http/RecordedRequest.h"
#include "service/net/ByteStream.h"

namespace qsn::service {

struct ReceivedRequest {
    RecordedRequest request;  // without the host
    bool keepAlive = false;
};

// Reads requests one after the other from a stream that outlives it.
class HttpRequestReader {
public:
    explicit HttpRequestReader(ByteStream& stream) : stream_(stream) {}

    // Empty at the end of the stream, and after bytes that are not an HTTP request.
    std::optional<ReceivedRequest> Read();

private:
    bool Fill();

    ByteStream& stream_;
    std::string buffered_;
};

}  // namespace qsn::service
