#pragma once

#include <qsn/qsn.h>

#include <utility>

#include "objects/DataSet.h"

namespace qsn {

// One element of the user menu.
class CQSNMenuItem final : public DataSet<IQSNDataSet> {
public:
    CQSNMenuItem(std::string item, std::string url) : m_fields({std::move(item), std::move(url)}) {}

    // Unlike other records, menu elements do not check the output first.
    HRESULT STDMETHODCALLTYPE GetInt(int32_t, int32_t*) override { return E_INVALIDARG; }

private:
    std::optional<std::string_view> Text(int32_t id) const override { return m_fields.Find(id); }

    TextFields<2> m_fields;
};

}  // namespace qsn
