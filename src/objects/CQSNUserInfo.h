#pragma once

#include <qsn/qsn.h>

#include "Utility/ComOwners.h"
#include "objects/DataSet.h"

namespace qsn {

// The signed-in user's profile, with the user menu attached to it.
class CQSNUserInfo final : public DataSet<IQSNUserInfo> {
public:
    CQSNUserInfo(std::string userID, std::string userName, std::string userEmail);

    // Replaces a menu that is attached already. E_NOINTERFACE if `menu` is not a list.
    HRESULT SetUserMenu(IUnknown* menu);
    HRESULT STDMETHODCALLTYPE NonDelegatingQueryInterface(REFIID iid, void** ppv) override;
    HRESULT STDMETHODCALLTYPE GetUserMenu(IQSNList** menu) override;

private:
    std::optional<std::string_view> Text(int32_t id) const override { return m_fields.Find(id); }

    TextFields<3> m_fields;
    UniqueCom<IQSNList> m_spMenu;
};

}  // namespace qsn
