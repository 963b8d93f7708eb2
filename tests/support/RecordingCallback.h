#pragma once

#include <qsn/qsn.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <deque>
#include <functional>
#include <mutex>
#include <optional>
#include <string>

namespace qsn::test {

// One call of the host's callback, with what was in the data while it was valid.
struct Event {
    int action = 0;
    int result = 0;
    bool hasData = false;
    std::string text;  // sign-in and notify
    DWORD threadId = 0;
};

inline std::string ReadText(IQSNDataSet& record, int32_t id) {
    uint32_t length = 0;
    if (FAILED(record.GetStringLength(id, &length))) return "unreadable";
    std::string text(length, '\0');
    record.GetString(id, text.data(), length + 1);
    return text;
}

// A host's callback that keeps what it is told and counts its references. It lives longer than the library object.
class RecordingCallback final : public IQSNCallbackFunc {
public:
    // Called inside the callback, before the event is recorded: it is done when a thread that waits for the event goes
    // on.
    std::function<HRESULT(const Event&, void* data)> onEvent;

    std::optional<Event> WaitFor(int action, std::chrono::milliseconds timeout = std::chrono::seconds(20)) {
        std::unique_lock lock(m_mutex);
        auto found = m_events.end();
        const auto arrived = [&] {
            found = std::find_if(m_events.begin(), m_events.end(), [&](const Event& e) { return e.action == action; });
            return found != m_events.end();
        };
        if (!m_changed.wait_for(lock, timeout, arrived)) return std::nullopt;
        Event event = std::move(*found);
        m_events.erase(found);
        return event;
    }
    // The result of the next event of `action`, or -1 if none comes.
    int ResultOf(int action) {
        const std::optional<Event> event = WaitFor(action);
        return event ? event->result : -1;
    }
    std::size_t Pending() {
        const std::lock_guard lock(m_mutex);
        return m_events.size();
    }
    long References() const { return m_references; }

    HRESULT STDMETHODCALLTYPE Callback(int32_t action, int32_t result, void* data) override {
        Event event = Describe(action, result, data);
        const HRESULT answer = onEvent ? onEvent(event, data) : S_OK;
        {
            const std::lock_guard lock(m_mutex);
            m_events.push_back(std::move(event));
        }
        m_changed.notify_all();
        return answer;
    }
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID, void** object) override {
        *object = nullptr;
        return E_NOINTERFACE;
    }
    ULONG STDMETHODCALLTYPE AddRef() override { return static_cast<ULONG>(++m_references); }
    ULONG STDMETHODCALLTYPE Release() override { return static_cast<ULONG>(--m_references); }

private:
    static Event Describe(int action, int result, void* data) {
        Event event;
        event.action = action;
        event.result = result;
        event.hasData = data != nullptr;
        event.threadId = GetCurrentThreadId();
        if (!data) return event;
        if (action == QSN_ACTION_SIGNIN_RESULT || action == QSN_ACTION_SSO_SIGNIN_RESULT ||
            action == QSN_ACTION_NOTIFY) {
            event.text = static_cast<const char*>(data);
        }
        return event;
    }

    std::mutex m_mutex;
    std::condition_variable m_changed;
    std::deque<Event> m_events;
    std::atomic<long> m_references{1};
};

}  // namespace qsn::test
