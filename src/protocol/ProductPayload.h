#pragma once

#include <json/value.h>
#include <qsn/qsn.h>

#include "Utility/ComOwners.h"

namespace qsn {

// The product list that the "data" of a reply holds; empty if it is not an array. Throws std::bad_alloc.
UniqueCom<IQSNList> ReadProductList(const Json::Value& data);

}  // namespace qsn
