#include "objects/DataSetList.h"

#include <utility>

namespace qsn {

HRESULT DataSetList::Append(IUnknown* element) {
    UniqueCom<IQSNDataSet> record;
    const HRESULT hr = element->QueryInterface(IID_IQSNDataSet, Out(record));
    if (SUCCEEDED(hr)) m_elements.push_back(std::move(record));
    return hr;
}

HRESULT STDMETHODCALLTYPE DataSetList::NonDelegatingQueryInterface(REFIID iid, void** ppv) {
    if (!ppv || !IsEqualIID(iid, IID_IQSNList)) return CPVUnknown::NonDelegatingQueryInterface(iid, ppv);
    *ppv = static_cast<IQSNList*>(this);
    AddRef();
    return S_OK;
}

HRESULT STDMETHODCALLTYPE DataSetList::GetItem(uint32_t index, void** element) {
    if (index >= m_elements.size()) return E_INVALIDARG;
    return m_elements[index]->QueryInterface(IID_IQSNDataSet, element);
}

uint32_t STDMETHODCALLTYPE DataSetList::GetCount() { return static_cast<uint32_t>(m_elements.size()); }

}  // namespace qsn
