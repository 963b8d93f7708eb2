#pragma once

#include <json/value.h>

#include <optional>
#include <string>

#include "service/text/Text.h"

namespace qsn::service {

inline constexpr char kMemberSuccess[] = "SUCCESS";

// What the member hosts answer: an envelope of their own.
struct MemberReply {
    std::string status = kMemberSuccess;
    std::optional<int> result = {};
    std::string additionalMessage = {};
    Json::Value info = {};          // null: none
    std::string secret = {};        // with a key: sent encrypted as "info"
    std::optional<Bytes> key = {};  // the client's
    bool spoilTag = false;          // of the encrypted text

    // Only a success carries "info".
    std::string Write() const;
};

}  // namespace qsn::service
