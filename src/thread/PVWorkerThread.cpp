#include "thread/PVWorkerThread.h"

#include <mutex>
#include <new>

#include "Utility/LibCrypto.h"

namespace qsn {
namespace {

// The host's program may want tens of megabytes for its own threads, or next to nothing.
constexpr SIZE_T kStackSize = SIZE_T{1} << 20;  // bytes

}  // namespace

PVWorkerThread::~PVWorkerThread() { Join(); }

bool PVWorkerThread::Start() noexcept {
    const std::lock_guard lock(m_startLock);
    if (m_thread.load() != nullptr) return false;
    m_stopRequested.Clear();
    std::unique_ptr<Launch> launch;
    try {
        m_run = std::make_shared<Run>();
        launch = std::make_unique<Launch>(Launch{this, m_run});
    } catch (const std::bad_alloc&) {
        return false;
    }
    m_thread =
        CreateThread(nullptr, kStackSize, &ThreadEntry, launch.get(), STACK_SIZE_PARAM_IS_A_RESERVATION, nullptr);
    if (m_thread.load() == nullptr) return false;
    static_cast<void>(launch.release());  // the thread's now
    return true;
}

void PVWorkerThread::Join() noexcept {
    // Taken out atomically, so that two callers never close the same handle.
    const UniqueHandle thread(m_thread.exchange(nullptr));
    if (thread) WaitForSingleObject(thread.Get(), INFINITE);
}

bool PVWorkerThread::JoinFor(DWORD milliseconds) const noexcept {
    const HANDLE thread = m_thread;
    return !thread || WaitForSingleObject(thread, milliseconds) == WAIT_OBJECT_0;
}

void PVWorkerThread::LeaveBehind() noexcept {
    const UniqueHandle thread(m_thread.exchange(nullptr));
    if (!thread) return;
    GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS, reinterpret_cast<LPCWSTR>(&ThreadEntry), &m_run->module);
}

DWORD WINAPI PVWorkerThread::ThreadEntry(void* argument) noexcept {
    std::unique_ptr<Launch> launch(static_cast<Launch*>(argument));
    launch->run->threadId = GetCurrentThreadId();
    const DWORD result = RunInComApartment(launch->body);
    launch->run->threadId = 0;
    LeaveLibCryptoThread();
    const HMODULE module = launch->run->module;
    launch.reset();
    if (module) FreeLibraryAndExitThread(module, result);
    return result;
}

}  // namespace qsn
