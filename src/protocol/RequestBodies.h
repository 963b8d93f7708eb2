#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "Utility/Outcome.h"
#include "protocol/Endpoints.h"

namespace qsn {

// What a request body is made of. Texts are UTF-8. The tokens belong to the caller, so no copy has to be wiped.
struct RequestValues {
    std::string_view accessToken;
    std::string extendData;
    std::string language;
    std::string productSID;
    std::string machineName;        // sign-out and token check only
    std::string machineID;          // the same
    std::string_view memberToken;   // sign-out and product list V2 only
    std::string_view refreshToken;  // sign-out only
    std::uint32_t platform = 0;
};

// The JSON body of a request. E_NOTIMPL for the types that have bodies of their own. E_OUTOFMEMORY if memory ran out.
Outcome<std::string> WriteRequestBody(RequestType type, const RequestValues& values);

}  // namespace qsn
