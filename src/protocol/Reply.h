#pragma once

#include <json/value.h>
#include <qsn/qsn.h>

#include <optional>
#include <string>
#include <string_view>

#include "Utility/ComOwners.h"
#include "Utility/Outcome.h"
#include "protocol/Endpoints.h"

namespace qsn {

// The wrapping of every reply of the service.
struct ReplyEnvelope {
    int result = 0;
    std::string additionalMessage;
    Json::Value data;
};

// E_INVALIDARG: not JSON. kReplyWithoutResult: no "result" that reads as a number.
Outcome<ReplyEnvelope> ReadEnvelope(std::string_view reply);

// What a reply brought. The request's type says which member.
struct ReplyPayload {
    int serverResult = 0;           // the envelope's, even if the reply is not authentic
    std::string additionalMessage;  // likewise
    UniqueCom<IQSNUserInfo> userInfo;
    std::string userID;  // of `userInfo`
    UniqueCom<IQSNList> productList;
    QSN_GI_QUOTA quota{sizeof(QSN_GI_QUOTA), {}, 0};
    std::optional<int> nextVerifyTime;  // seconds; any reply may bring it
    // What all this was read from. To free a large reply takes half as long as to parse it, and the host need not wait
    // for that.
    Json::Value source;
};

// Reads `source`, the "data" of a successful reply. A member that is missing or of a type that cannot be converted is
// an empty text or 0. E_NOTIMPL for a type that has no payload.
Outcome<ReplyPayload> ReadPayload(RequestType type, Json::Value source);

}  // namespace qsn
