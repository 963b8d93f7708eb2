#pragma once

#include <json/value.h>

#include <chrono>
#include <cstdint>
#include <functional>
#include <list>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "service/http/RecordedRequest.h"

namespace qsn::service {

class ReplyGate;

using HeaderList = std::vector<std::pair<std::string, std::string>>;

// Which requests a rule is for; an empty member matches every request.
struct RequestMatch {
    std::string host = {};
    std::string path = {};
    std::string requestType = {};
    std::function<bool(const RecordedRequest&)> where = {};

    bool Matches(const RecordedRequest& request) const;
};

// How one header of the reply pair is spoilt.
enum class PairFault { kNone, kOmitted, kEmpty, kWrong, kUpperCase, kOddLength, kNoHex, kTooLong };

enum class Compression {
    kWhenAccepted,  // gzip if the request takes it and the body is worth it
    kNone,
    kGzip,
    kTwoGzips,  // one after the other, each with its own head and checksum
    kDeflate,
    kBareDeflate,  // without the frame that "deflate" ought to have
    kBrokenGzip,   // damaged in the middle
    kCutGzip       // all of the body, but neither checksum nor length behind it
};

// What to change in the reply that the service would give. A member that is left alone changes nothing.
struct ReplyChange {
    // The envelope; the pair is made for whatever text results.
    std::optional<int> result = {};
    std::optional<std::string> additionalMessage = {};
    std::optional<Json::Value> data = {};
    std::optional<std::string> body = {};  // these very bytes in place of the envelope

    // The envelope of the member hosts; `data` replaces its "info".
    std::optional<std::string> memberStatus = {};  // other than "SUCCESS": without "info"
    std::optional<std::string> memberSecret = {};  // the text that leaves encrypted in place of the new token
    bool spoilMemberTag = false;                   // of the encrypted text

    // The reply pair.
    PairFault token = PairFault::kNone;
    PairFault digest = PairFault::kNone;

    // HTTP.
    std::optional<int> status = {};
    HeaderList headers = {};  // in place of those of that name
    Compression compression = Compression::kWhenAccepted;
    std::vector<std::size_t> chunks = {};  // not empty: chunked transfer; the last size repeats to the end of the body
    bool breakChunking = false;            // the second chunk starts with a size that is not a number
    std::optional<std::uint64_t> contentLength = {};  // a false Content-Length
    std::string before = {};  // these very bytes ahead of the reply, for instance replies of status 1xx
    bool endless = false;     // blanks follow the body for as long as the client reads

    // The transfer.
    std::shared_ptr<const ReplyGate> gate = {};  // holds the reply back, before any delay
    std::chrono::milliseconds delay{0};          // before the first byte
    std::size_t pieceSize = 0;                   // not 0: header and body leave in pieces of this size …
    std::chrono::milliseconds pause{0};          // … with this pause between them
    std::optional<std::size_t> closeAfterHeaderBytes = {};
    std::optional<std::size_t> closeAfterBodyBytes = {};
    bool closeBeforeReply = false;
    bool neverReply = false;  // holds the connection until the client or the server ends it
};

// The rules of a test. One of those that match a request applies: the oldest with a count that is not used up yet, else
// the newest without a count. Any thread may call any member.
class Script {
public:
    void Once(ReplyChange change, RequestMatch match = {}) { Times(1, std::move(change), std::move(match)); }
    void Times(unsigned count, ReplyChange change, RequestMatch match = {});
    void Always(ReplyChange change, RequestMatch match = {});
    void Clear();

    // Counted rules that no request has met yet.
    unsigned Pending() const;

    // Uses up one count of the rule that applies.
    std::optional<ReplyChange> Take(const RecordedRequest& request);

private:
    struct Rule {
        RequestMatch match;
        ReplyChange change;
        unsigned left;
    };

    mutable std::mutex rulesLock_;
    std::list<Rule> counted_;
    std::list<Rule> lasting_;
};

}  // namespace qsn::service
