#pragma once

#include <qsn/qsn.h>

#include <chrono>
#include <condition_variable>
#include <deque>
#include <mutex>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace sample {

// What this program keeps of one callback. Result objects are valid during the call only, so their contents are copied.
struct Outcome {
    int action = 0;
    int result = 0;
    std::string text;                                       // the login page address, or the text of a notification
    std::vector<std::pair<std::string, std::string>> user;  // label, value
    std::vector<std::pair<std::string, std::string>> menu;  // item, address
    std::vector<std::vector<std::string>> products;         // name, version, edition, size in bytes, date
    std::string quotaReset;
    unsigned quotaRemaining = 0;
};

// The host's side of the conversation. The library calls it on its worker thread; the main thread waits in `WaitFor`.
// It is an ordinary member of main, so reference counting has nothing to destroy.
class HostCallback final : public IQSNCallbackFunc {
public:
    // The next outcome of `action`; nothing where none comes in time.
    std::optional<Outcome> WaitFor(int action, std::chrono::seconds timeout = std::chrono::seconds(30));
    // The next one of any action.
    std::optional<Outcome> WaitForAny(std::chrono::seconds timeout = std::chrono::seconds(30));

    HRESULT STDMETHODCALLTYPE Callback(int32_t action, int32_t result, void* data) override;

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) override;
    ULONG STDMETHODCALLTYPE AddRef() override { return 2; }
    ULONG STDMETHODCALLTYPE Release() override { return 1; }

private:
    template <class Condition>
    std::optional<Outcome> WaitForFirst(Condition condition, std::chrono::seconds timeout);

    std::mutex m_mutex;
    std::condition_variable m_arrived;
    std::deque<Outcome> m_outcomes;
};

}  // namespace sample
