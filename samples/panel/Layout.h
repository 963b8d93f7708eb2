#pragma once

#include <windows.h>

#include "Ids.h"

namespace sample {

// Keeps the controls where the template put them, in relation to the window's edges and at the resolution of its
// screen.
class Layout {
public:
    // `dialog` as its template made it, which is then its smallest size.
    void Attach(HWND dialog) {
        m_dialog = dialog;
        m_dpi = m_dpiAtFirst = static_cast<int>(GetDpiForWindow(dialog));
        GetClientRect(dialog, &m_client);
        GetWindowRect(dialog, &m_window);
        for (int i = 0; i < kCount; ++i) {
            GetWindowRect(GetDlgItem(dialog, IDC_NAME + i), &m_places[i]);
            MapWindowPoints(HWND_DESKTOP, dialog, reinterpret_cast<POINT*>(&m_places[i]), 2);
        }
    }

    // For WM_DPICHANGED, before the window gets its new size.
    void Rescale(int dpi) { m_dpi = dpi; }
    int Scaled(LONG atFirst) const { return MulDiv(atFirst, m_dpi, m_dpiAtFirst); }

    // For WM_SIZE.
    void Arrange(int width, int height) const {
        const int wider = width - Scaled(m_client.right);
        const int higher = height - Scaled(m_client.bottom);
        for (int i = 0; i < kCount; ++i) {
            const RECT& place = m_places[i];
            const char* const rule = kRules[i];
            SetWindowPos(GetDlgItem(m_dialog, IDC_NAME + i), nullptr, Scaled(place.left) + (rule[0] == 'm' ? wider : 0),
                         Scaled(place.top) + (rule[1] == 'm' ? higher : 0),
                         Scaled(place.right - place.left) + (rule[0] == 'g' ? wider : 0),
                         Scaled(place.bottom - place.top) + (rule[1] == 'g' ? higher : 0),
                         SWP_NOZORDER | SWP_NOACTIVATE | SWP_NOCOPYBITS);
        }
        // A control may move to where another one was.
        RedrawWindow(m_dialog, nullptr, nullptr, RDW_INVALIDATE | RDW_ERASE | RDW_ALLCHILDREN);
    }

    // For WM_GETMINMAXINFO.
    void Limit(MINMAXINFO& limits) const {
        limits.ptMinTrackSize = {Scaled(m_window.right - m_window.left), Scaled(m_window.bottom - m_window.top)};
    }

private:
    static constexpr int kCount = IDC_CANCEL - IDC_NAME + 1;
    // In the order of the ids: whether a control moves, grows or stays as the window becomes wider, and higher.
    static constexpr const char* kRules[kCount] = {"gs", "gs", "ms", "ms", "ms", "mm", "ss",
                                                   "gg", "gm", "sm", "gm", "gm", "mm"};

    HWND m_dialog = nullptr;
    int m_dpiAtFirst = USER_DEFAULT_SCREEN_DPI;
    int m_dpi = USER_DEFAULT_SCREEN_DPI;
    RECT m_client = {};
    RECT m_window = {};
    RECT m_places[kCount] = {};
};

}  // namespace sample
