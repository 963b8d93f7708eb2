#pragma once

#include <windows.h>

#include <deque>
#include <functional>
#include <mutex>

namespace sample {

// Takes functions from any thread and runs them in order on a window's thread, as the client's executor should. Shared,
// because threads may still bring work when the window is gone. That work is dropped.
class UiQueue {
public:
    static constexpr UINT kMessage = WM_APP + 1;

    explicit UiQueue(HWND window) : m_window(window) {}

    void Post(std::function<void()> work) {
        const std::lock_guard<std::mutex> lock(m_lock);
        m_work.push_back(std::move(work));
        PostMessageW(m_window, kMessage, 0, 0);
    }

    // For kMessage. One function each time, so that the window's other messages get their turn.
    void RunOne() {
        std::function<void()> work;
        {
            const std::lock_guard<std::mutex> lock(m_lock);
            if (m_work.empty()) return;
            work = std::move(m_work.front());
            m_work.pop_front();
        }
        work();
    }

private:
    const HWND m_window;
    std::mutex m_lock;
    std::deque<std::function<void()>> m_work;
};

}  // namespace sample
