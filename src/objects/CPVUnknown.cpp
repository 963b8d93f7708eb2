#include "objects/CPVUnknown.h"

namespace qsn {

HRESULT STDMETHODCALLTYPE CPVUnknown::NonDelegatingQueryInterface(REFIID iid, void** ppv) {
    if (!ppv) return E_POINTER;
    if (!IsEqualIID(iid, IID_IUnknown)) {
        *ppv = nullptr;
        return E_NOINTERFACE;
    }
    *ppv = static_cast<INonDelegatingUnknown*>(this);
    NonDelegatingAddRef();
    return S_OK;
}

ULONG STDMETHODCALLTYPE CPVUnknown::NonDelegatingAddRef() {
    const LONG references = InterlockedIncrement(&m_nReferences);
    return references != 0 ? static_cast<ULONG>(references) : 1;
}

ULONG STDMETHODCALLTYPE CPVUnknown::NonDelegatingRelease() {
    const LONG references = InterlockedDecrement(&m_nReferences);
    if (references != 0) return static_cast<ULONG>(references);
    // If the destructor passes `this` on, a further reference and its release must not destroy the object again.
    m_nReferences = 1;
    delete this;
    return 0;
}

}  // namespace qsn
