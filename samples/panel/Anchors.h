#pragma once

#include <windows.h>

#include <vector>

namespace sample {

// How far each edge of a control moves when the window grows, in percent of that growth. If opposite edges move alike,
// the control moves. If only its right or bottom edge moves, it grows.
struct Anchor {
    int id;
    int left, top, right, bottom;
};

// Keeps the controls of a dialog in the places that its template gave them, in relation to the window's edges.
class Anchors {
public:
    // `dialog` as its template made it, which is then its smallest size.
    template <std::size_t count>
    void Attach(HWND dialog, const Anchor (&anchors)[count]) {
        GetClientRect(dialog, &m_client);
        GetWindowRect(dialog, &m_window);
        for (const Anchor& anchor : anchors) {
            RECT place;
            GetWindowRect(GetDlgItem(dialog, anchor.id), &place);
            MapWindowPoints(HWND_DESKTOP, dialog, reinterpret_cast<POINT*>(&place), 2);
            m_places.push_back({anchor, place});
        }
    }

    // For WM_SIZE.
    void Arrange(HWND dialog, int width, int height) const {
        const int wider = width - m_client.right;
        const int higher = height - m_client.bottom;
        HDWP moves = BeginDeferWindowPos(static_cast<int>(m_places.size()));
        for (const Place& place : m_places) {
            const Anchor& anchor = place.anchor;
            RECT r = place.atFirst;
            r.left += wider * anchor.left / 100;
            r.right += wider * anchor.right / 100;
            r.top += higher * anchor.top / 100;
            r.bottom += higher * anchor.bottom / 100;
            if (!moves) return;
            moves = DeferWindowPos(moves, GetDlgItem(dialog, anchor.id), nullptr, r.left, r.top, r.right - r.left,
                                   r.bottom - r.top, SWP_NOZORDER | SWP_NOACTIVATE | SWP_NOCOPYBITS);
        }
        EndDeferWindowPos(moves);
        // A control may move to where another one was.
        RedrawWindow(dialog, nullptr, nullptr, RDW_INVALIDATE | RDW_ERASE | RDW_ALLCHILDREN);
    }

    // For WM_GETMINMAXINFO.
    void Limit(MINMAXINFO& limits) const {
        limits.ptMinTrackSize = {m_window.right - m_window.left, m_window.bottom - m_window.top};
    }

private:
    struct Place {
        Anchor anchor;
        RECT atFirst;
    };

    RECT m_client = {};
    RECT m_window = {};
    std::vector<Place> m_places;
};

}  // namespace sample
