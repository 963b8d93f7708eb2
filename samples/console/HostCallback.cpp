#include "HostCallback.h"

#include <algorithm>

namespace sample {
namespace {

std::string TextField(IQSNDataSet& record, int32_t id) {
    uint32_t length = 0;
    if (FAILED(record.GetStringLength(id, &length))) return {};
    std::string text(length, '\0');
    // The size includes the terminator, and a std::string has room for it behind its text.
    record.GetString(id, text.data(), length + 1);
    return text;
}

void CopyMenu(IQSNUserInfo& user, Outcome& outcome) {
    IQSNList* menu = nullptr;
    if (FAILED(user.GetUserMenu(&menu))) return;
    for (uint32_t index = 0; index < menu->GetCount(); ++index) {
        void* element = nullptr;
        if (FAILED(menu->GetItem(index, &element))) continue;
        auto* const item = static_cast<IQSNDataSet*>(element);
        outcome.menu.emplace_back(TextField(*item, QSN_MENU_ITEM), TextField(*item, QSN_MENU_URL));
        item->Release();
    }
    menu->Release();
}

void CopyUser(IQSNUserInfo& user, Outcome& outcome) {
    outcome.user.emplace_back("user id", TextField(user, QSN_USER_ID));
    outcome.user.emplace_back("name", TextField(user, QSN_USER_NAME));
    outcome.user.emplace_back("e-mail", TextField(user, QSN_USER_EMAIL));
    CopyMenu(user, outcome);
}

void CopyProducts(IQSNList& list, Outcome& outcome) {
    for (uint32_t index = 0; index < list.GetCount(); ++index) {
        void* element = nullptr;
        if (FAILED(list.GetItem(index, &element))) continue;
        auto* const product = static_cast<IQSNDataSet*>(element);
        std::vector<std::string>& row = outcome.products.emplace_back();
        for (int32_t field : {QSN_PRODUCT_DISPLAY_NAME, QSN_PRODUCT_DISPLAY_VERSION, QSN_PRODUCT_DISPLAY_VERSION_TYPE,
                              QSN_PRODUCT_FILE_SIZE, QSN_PRODUCT_PUBLISH_DATE}) {
            row.push_back(TextField(*product, field));
        }
        product->Release();
    }
}

void CopyQuota(const QSN_GI_QUOTA& quota, Outcome& outcome) {
    const std::wstring date = quota.resetDate;
    outcome.quotaReset.assign(date.begin(), date.end());  // digits only
    outcome.quotaRemaining = quota.remainCount;
}

}  // namespace

HRESULT STDMETHODCALLTYPE HostCallback::Callback(int32_t action, int32_t result, void* data) {
    Outcome outcome;
    outcome.action = action;
    outcome.result = result;
    switch (action) {
        case QSN_ACTION_GET_USERINFO_RESULT:
            if (data) CopyUser(*static_cast<IQSNUserInfo*>(data), outcome);
            break;
        case QSN_ACTION_GET_PRODUCTLIST_RESULT:
        case QSN_ACTION_GET_PRODUCTLIST_V2_RESULT:
            if (data) CopyProducts(*static_cast<IQSNList*>(data), outcome);
            break;
        case QSN_ACTION_GI_QUERY_RESULT:
            if (data) CopyQuota(*static_cast<const QSN_GI_QUOTA*>(data), outcome);
            break;
        case QSN_ACTION_SIGNIN_RESULT:
        case QSN_ACTION_SSO_SIGNIN_RESULT:
        case QSN_ACTION_NOTIFY:
            if (data) outcome.text = static_cast<const char*>(data);
            break;
        default: break;
    }
    {
        const std::lock_guard lock(m_mutex);
        m_outcomes.push_back(std::move(outcome));
    }
    m_arrived.notify_all();
    return S_OK;
}

std::optional<Outcome> HostCallback::WaitFor(int action, std::chrono::seconds timeout) {
    return WaitForFirst([action](const Outcome& outcome) { return outcome.action == action; }, timeout);
}

std::optional<Outcome> HostCallback::WaitForAny(std::chrono::seconds timeout) {
    return WaitForFirst([](const Outcome&) { return true; }, timeout);
}

template <class Condition>
std::optional<Outcome> HostCallback::WaitForFirst(Condition condition, std::chrono::seconds timeout) {
    std::unique_lock lock(m_mutex);
    auto found = m_outcomes.end();
    const bool arrived = m_arrived.wait_for(lock, timeout, [&] {
        found = std::find_if(m_outcomes.begin(), m_outcomes.end(), condition);
        return found != m_outcomes.end();
    });
    if (!arrived) return std::nullopt;
    Outcome outcome = std::move(*found);
    m_outcomes.erase(found);
    return outcome;
}

HRESULT STDMETHODCALLTYPE HostCallback::QueryInterface(REFIID iid, void** object) {
    if (!object) return E_POINTER;
    const bool known = IsEqualIID(iid, IID_IUnknown) || IsEqualIID(iid, IID_IQSNCallbackFunc);
    *object = known ? this : nullptr;
    return known ? S_OK : E_NOINTERFACE;
}

}  // namespace sample
