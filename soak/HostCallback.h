#pragma once

#include <qsn/qsn.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <map>
#include <mutex>
#include <string>

namespace qsn::soak {

// A host's callback that counts. It lives longer than every library object.
class HostCallback final : public IQSNCallbackFunc {
public:
    // How often `action` has been reported.
    std::uint64_t Count(int action);
    // Waits until `action` has been reported more than `count` times.
    bool WaitBeyond(int action, std::uint64_t count, std::chrono::seconds bound);
    long References() const { return m_references; }
    // As in "0: 120, 4: 7".
    std::string ResultsText();
    std::string NotificationsText();

    HRESULT STDMETHODCALLTYPE Callback(int32_t action, int32_t result, void* data) override;
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) override;
    ULONG STDMETHODCALLTYPE AddRef() override { return static_cast<ULONG>(++m_references); }
    ULONG STDMETHODCALLTYPE Release() override { return static_cast<ULONG>(--m_references); }

private:
    using Counts = std::map<int, std::uint64_t>;
    std::string Text(const Counts& counts);

    std::mutex m_countsLock;
    std::condition_variable m_changed;
    Counts m_byAction;
    Counts m_byResult;
    Counts m_notifications;
    std::atomic<long> m_references{1};
};

}  // namespace qsn::soak
