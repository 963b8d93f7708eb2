#pragma once

#include <json/value.h>
#include <qsn/qsn.h>
#include <windows.h>

#include <string>
#include <string_view>

#include "Utility/ComOwners.h"
#include "engine/Endpoints.h"

namespace qsn {

// What every reply of the service is wrapped in.
struct ReplyEnvelope {
    int result = 0;
    std::string additionalMessage;
    Json::Value data;
};

// E_INVALIDARG: not JSON. kReplyWithoutResult: no "result" that reads as a number.
HRESULT ReadEnvelope(std::string_view reply, ReplyEnvelope* envelope);

// What a reply brought; the request's type says which member.
struct ReplyPayload {
    UniqueCom<IQSNUserInfo> userInfo;
    std::string userID;  // of `userInfo`
};

// Reads the "data" of a successful reply. A member that is missing or of a type that cannot be converted is an empty
// text or 0. E_NOTIMPL for a type that has no payload.
HRESULT ReadPayload(RequestType type, const Json::Value& data, ReplyPayload* payload);

}  // namespace qsn
