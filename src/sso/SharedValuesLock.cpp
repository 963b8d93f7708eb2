#include "sso/SharedValuesLock.h"

namespace qsn {
namespace {

constexpr wchar_t kName[] = L"Local\\Quillfern.QSN.SharedValues";
// It is never held for more than a few calls of the registry.
constexpr DWORD kLongestWait = 200;  // ms

}  // namespace

SharedValuesLock::SharedValuesLock() noexcept : m_mutex(CreateMutexW(nullptr, FALSE, kName)) {
    if (!m_mutex) return;
    const DWORD result = WaitForSingleObject(m_mutex.Get(), kLongestWait);
    // If a process ended with it, it left nothing half done: each value is written by one call.
    m_held = result == WAIT_OBJECT_0 || result == WAIT_ABANDONED;
}

SharedValuesLock::~SharedValuesLock() {
    if (m_held) ReleaseMutex(m_mutex.Get());
}

}  // namespace qsn
