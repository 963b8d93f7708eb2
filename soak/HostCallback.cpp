#include "HostCallback.h"

namespace qsn::soak {

std::uint64_t HostCallback::Count(int action) {
    const std::lock_guard lock(m_countsLock);
    return m_byAction[action];
}

bool HostCallback::WaitBeyond(int action, std::uint64_t count, std::chrono::seconds bound) {
    std::unique_lock lock(m_countsLock);
    return m_changed.wait_for(lock, bound, [&] { return m_byAction[action] > count; });
}

std::string HostCallback::ResultsText() { return Text(m_byResult); }
std::string HostCallback::NotificationsText() { return Text(m_notifications); }

std::string HostCallback::Text(const Counts& counts) {
    const std::lock_guard lock(m_countsLock);
    std::string text;
    for (const auto& [key, count] : counts) {
        text += (text.empty() ? "" : ", ") + std::to_string(key) + ": " + std::to_string(count);
    }
    return text.empty() ? "none" : text;
}

HRESULT HostCallback::Callback(int32_t action, int32_t result, void*) {
    {
        const std::lock_guard lock(m_countsLock);
        ++m_byAction[action];
        ++(action == QSN_ACTION_NOTIFY ? m_notifications : m_byResult)[result];
    }
    m_changed.notify_all();
    return S_OK;
}

HRESULT HostCallback::QueryInterface(REFIID, void** object) {
    *object = nullptr;
    return E_NOINTERFACE;
}

}  // namespace qsn::soak
