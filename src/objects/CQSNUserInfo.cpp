#include "objects/CQSNUserInfo.h"

#include <utility>

namespace qsn {

CQSNUserInfo::CQSNUserInfo(std::string userID, std::string userName, std::string userEmail)
    : m_fields({std::move(userID), std::move(userName), std::move(userEmail)}) {}

HRESULT CQSNUserInfo::SetUserMenu(IUnknown* menu) {
    UniqueCom<IQSNList> list;
    const HRESULT hr = menu->QueryInterface(IID_IQSNList, Out(list));
    if (SUCCEEDED(hr)) m_spMenu = std::move(list);
    return hr;
}

HRESULT STDMETHODCALLTYPE CQSNUserInfo::NonDelegatingQueryInterface(REFIID iid, void** ppv) {
    if (!ppv || !IsEqualIID(iid, IID_IQSNUserInfo)) return DataSet::NonDelegatingQueryInterface(iid, ppv);
    *ppv = static_cast<IQSNUserInfo*>(this);
    AddRef();
    return S_OK;
}

HRESULT STDMETHODCALLTYPE CQSNUserInfo::GetUserMenu(IQSNList** menu) {
    if (!menu) return E_POINTER;
    *menu = AddReference(m_spMenu.get()).release();
    return *menu ? S_OK : E_FAIL;
}

}  // namespace qsn
