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

}  // namespace

HRESULT STDMETHODCALLTYPE HostCallback::Callback(int32_t action, int32_t result, void* data) {
    Outcome outcome;
    outcome.action = action;
    outcome.result = result;
    switch (action) {
        case QSN_ACTION_GET_USERINFO_RESULT:
            if (data) CopyUser(*static_cast<IQSNUserInfo*>(data), outcome);
            break;
        case QSN_ACTION_SIGNIN_RESULT:
        case QSN_ACTION_NOTIFY:
            if (data) outcome.text = static_cast<const char*>(data);
            break;
        default:
            break;
    }
    {
        const std::lock_guard lock(m_mutex);
        m_outcomes.push_back(std::move(outcome));
    }
    m_arrived.notify_all();
    return S_OK;
}

std::optional<Outcome> HostCallback::WaitFor(int action, std::chrono::seconds timeout) {
    std::unique_lock lock(m_mutex);
    auto found = m_outcomes.end();
    const bool arrived = m_arrived.wait_for(lock, timeout, [&] {
        found = std::find_if(m_outcomes.begin(), m_outcomes.end(),
                             [&](const Outcome& outcome) { return outcome.action == action; });
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
