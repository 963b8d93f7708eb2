#include "protocol/RegistryWatch.h"

#include <algorithm>

namespace qsn {
namespace {

UniqueRegistryKey Watched(const RegistryWatch::Key& wanted, HANDLE changed) {
    constexpr DWORD kAnyChange = REG_NOTIFY_CHANGE_NAME | REG_NOTIFY_CHANGE_LAST_SET;
    UniqueRegistryKey key;
    if (RegOpenKeyExW(wanted.root, wanted.path, 0, KEY_NOTIFY, key.Receive()) != ERROR_SUCCESS) return {};
    if (RegNotifyChangeKeyValue(key.Get(), TRUE, kAnyChange, changed, TRUE) != ERROR_SUCCESS) return {};
    return key;
}

}  // namespace

RegistryWatch::RegistryWatch(std::initializer_list<Key> keys) : m_changed(CreateEventW(nullptr, TRUE, FALSE, nullptr)) {
    if (!m_changed) return;
    for (const Key& key : keys) m_keys.push_back(Watched(key, m_changed.Get()));
    m_isWatching = std::ranges::all_of(m_keys, &UniqueRegistryKey::operator bool);
}

bool RegistryWatch::IsUnchanged() const noexcept {
    return m_isWatching && WaitForSingleObject(m_changed.Get(), 0) == WAIT_TIMEOUT;
}

}  // namespace qsn
