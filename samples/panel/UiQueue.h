#pragma once

#include <windows.h>

#include <deque>
#include <functional>
#include <memory>
#include <mutex>

namespace sample {

// Takes functions from any thread and runs them in order on a window's thread, as the client's executor should. The
// window answers kMessage with `Run`. Shared, because threads may still bring work when the window is gone. That work
// is dropped.
class UiQueue {
public:
    static constexpr UINT kMessage = WM_APP + 1;

    explicit UiQueue(HWND window) : m_window(window) {}

    void Post(std::function<void()> work) {
        const std::lock_guard<std::mutex> lock(m_lock);
        if (!m_window) return;
        m_work.push_back(std::move(work));
        PostMessageW(m_window, kMessage, 0, 0);
    }

    // One function for each message, so that the window's other messages get their turn. The work may open a menu or a
    // dialog, whose message loop calls this again.
    void Run() {
        std::function<void()> work;
        {
            const std::lock_guard<std::mutex> lock(m_lock);
            if (m_work.empty()) return;
            work = std::move(m_work.front());
            m_work.pop_front();
        }
        work();
    }

    void Close() {
        std::deque<std::function<void()>> dropped;
        const std::lock_guard<std::mutex> lock(m_lock);
        m_window = nullptr;
        dropped.swap(m_work);
    }

private:
    std::mutex m_lock;  // guards both
    HWND m_window;
    std::deque<std::function<void()>> m_work;
};

}  // namespace sample
