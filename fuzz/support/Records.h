#pragma once

#include <qsn/qsn.h>

#include <algorithm>
#include <string>
#include <string_view>
#include <vector>

#include "Utility/ComOwners.h"
#include "support/Require.h"

namespace qsn::fuzz {

// Reads a text field as a careful host does, with a buffer of exactly the right size, and as a careless one does.
inline void RequireText(IQSNDataSet& record, int32_t id, std::string_view expected) {
    uint32_t length = 0;
    REQUIRE(record.GetStringLength(id, &length) == S_OK);
    REQUIRE(length == expected.size());
    std::vector<char> text(length + 1, '?');
    REQUIRE(record.GetString(id, text.data(), length) == E_INVALIDARG);
    REQUIRE(std::ranges::count(text, '?') == static_cast<std::ptrdiff_t>(text.size()));
    REQUIRE(record.GetString(id, text.data(), length + 1) == S_OK);
    REQUIRE(std::string_view(text.data(), length) == expected && text.back() == '\0');
    int32_t type = 0;
    REQUIRE(record.GetFieldType(id, &type) == S_OK && type == QSN_FIELD_TEXT);
}

inline void RequireNoField(IQSNDataSet& record, int32_t id) {
    uint32_t length = 0;
    char buffer[1];
    int32_t number = 0;
    REQUIRE(record.GetStringLength(id, &length) == E_INVALIDARG);
    REQUIRE(record.GetString(id, buffer, sizeof(buffer)) == E_INVALIDARG);
    REQUIRE(record.GetInt(id, &number) == E_INVALIDARG);
    REQUIRE(record.GetFieldType(id, &number) == E_INVALIDARG);
}

// Through the list's own slot, as a host gets it.
inline UniqueCom<IQSNDataSet> Item(IQSNList& list, uint32_t index) {
    UniqueCom<IQSNDataSet> record;
    REQUIRE(list.GetItem(index, Out(record)) == S_OK);
    return record;
}

}  // namespace qsn::fuzz
