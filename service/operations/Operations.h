#pragma once

#include <json/value.h>

#include <string>
#include <string_view>

#include "service/accounts/Accounts.h"

namespace qsn::service {

struct Envelope {
    int result = 0;
    std::string additionalMessage = {};
    Json::Value data = {};

    std::string Write() const;
};

struct OperationRequest {
    const Json::Value& body;  // an object
    Site site;
    Accounts& accounts;
};

struct Operation {
    std::string_view requestType;
    std::string_view path;
    bool namedInBody;  // the body's "requestType" says so; otherwise the path alone does
    Envelope (*run)(const OperationRequest&);
};

// Whether the path has any operation.
bool IsOperationPath(std::string_view path);
// Null if the path has no operation of that type. An operation that is not named in the body takes any type.
const Operation* FindOperation(std::string_view path, std::string_view requestType);

}  // namespace qsn::service
