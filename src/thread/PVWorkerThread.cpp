#include "thread/PVWorkerThread.h"

#include <mutex>

#include "Utility/LibCrypto.h"

namespace qsn {

PVWorkerThread::~PVWorkerThread() { Join(); }

bool PVWorkerThread::Start() noexcept {
    const std::lock_guard lock(m_startLock);
    if (m_thread.load() != nullptr) return false;
    m_stopRequested.Clear();
    m_thread = CreateThread(nullptr, 0, &ThreadEntry, static_cast<ThreadBody*>(this), 0, nullptr);
    return m_thread.load() != nullptr;
}

void PVWorkerThread::Join() noexcept {
    // Taken out atomically, so that two callers never close the same handle.
    const UniqueHandle thread(m_thread.exchange(nullptr));
    if (thread) WaitForSingleObject(thread.Get(), INFINITE);
}

DWORD WINAPI PVWorkerThread::ThreadEntry(void* body) noexcept {
    const DWORD result = RunInComApartment(static_cast<ThreadBody*>(body));
    LeaveLibCryptoThread();
    return result;
}

}  // namespace qsn
