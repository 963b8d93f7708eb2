#pragma once

#include <qsn/qsn.h>

#include <cstddef>
#include <vector>

#include "Utility/ComOwners.h"
#include "objects/CPVUnknown.h"

namespace qsn {

// A list of records in the order in which they were appended.
class DataSetList : public IQSNList, public CPVUnknown {
public:
    QSN_DELEGATE_IUNKNOWN

    // Takes a reference of its own. E_NOINTERFACE if `element` is not a record. Not to be called after the host has got
    // the list.
    HRESULT Append(IUnknown* element);
    void Reserve(std::size_t count) { m_elements.reserve(count); }

    HRESULT STDMETHODCALLTYPE NonDelegatingQueryInterface(REFIID iid, void** ppv) override;
    HRESULT STDMETHODCALLTYPE GetItem(uint32_t index, void** element) override;
    uint32_t STDMETHODCALLTYPE GetCount() override;

private:
    std::vector<UniqueCom<IQSNDataSet>> m_elements;
};

class CQSNUserMenu final : public DataSetList {};
class CQSNProductList final : public DataSetList {};

}  // namespace qsn
