#pragma once

#include "service/http/HttpReply.h"

namespace qsn::service {

// Adds the header with the fault applied to its value, or nothing when the fault omits it.
void AddPairHeader(HeaderList& headers, const char* name, const std::string& value, PairFault fault);

}  // namespace qsn::service
