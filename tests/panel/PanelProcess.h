#pragma once

#include <windows.h>

#include <string>

#include "panel/Ids.h"
#include "support/ProcessState.h"

namespace qsn::test {

// The sample's window in a process of its own, used as a screen reader or an automation tool would: by control id, with
// messages that work from another process, none of which waits for ever.
class PanelProcess {
public:
    explicit PanelProcess(const std::wstring& arguments) {
        STARTUPINFOW startup = {};
        startup.cb = sizeof(startup);
        std::wstring command = L"\"" QSN_TEST_PANEL L"\" " + arguments;
        CreateProcessW(nullptr, command.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr, &startup, &m_process);
        const auto isThere = [this] {
            m_window = FindWindowW(L"" PANEL_CLASS, nullptr);
            DWORD process = 0;
            GetWindowThreadProcessId(m_window, &process);
            return process == m_process.dwProcessId && IsWindowVisible(m_window);
        };
        EXPECT_TRUE(Eventually(isThere, 30000)) << "no window";
    }
    PanelProcess(const PanelProcess&) = delete;
    PanelProcess& operator=(const PanelProcess&) = delete;
    ~PanelProcess() {
        TerminateProcess(m_process.hProcess, 3);
        WaitForSingleObject(m_process.hProcess, 10000);
        CloseHandle(m_process.hThread);
        CloseHandle(m_process.hProcess);
    }

    HWND Window() const { return m_window; }
    HWND Control(int id) const { return GetDlgItem(m_window, id); }
    std::wstring Text(int id) const { return TextBy(id, WM_GETTEXT, 512); }
    bool Shows(int id, const std::wstring& text, DWORD milliseconds = 20000) const {
        return Eventually([&] { return Text(id).find(text) != std::wstring::npos; }, milliseconds);
    }
    LRESULT Products() const { return Ask(IDC_PRODUCTS, LVM_GETITEMCOUNT); }
    LRESULT News() const { return Ask(IDC_NEWS, LB_GETCOUNT); }
    bool LatestNewsAre(const std::wstring& text) const {
        return TextBy(IDC_NEWS, LB_GETTEXT, 0).find(text) != std::wstring::npos;
    }
    bool IsEnabled(int id) const { return IsWindowEnabled(Control(id)) != FALSE; }
    void Press(int id) const {
        EXPECT_TRUE(Eventually([&] { return id >= IDM_ACCOUNT_FIRST || IsEnabled(id); })) << "button " << id;
        PostMessageW(m_window, WM_COMMAND, static_cast<WPARAM>(id), 0);
    }
    // To whichever control has the keyboard.
    void Type(WPARAM key) const { PostMessageW(FocusWindow(), WM_KEYDOWN, key, 0); }
    int Focus() const { return GetDlgCtrlID(FocusWindow()); }
    // As if the window had come to a screen of another resolution, where it is given this size.
    void MoveToScreenOf(UINT dpi, SIZE size) const {
        const RECT place = {0, 0, size.cx, size.cy};
        void* const there = VirtualAllocEx(m_process.hProcess, nullptr, sizeof(place), MEM_COMMIT, PAGE_READWRITE);
        WriteProcessMemory(m_process.hProcess, there, &place, sizeof(place), nullptr);
        DWORD_PTR answer = 0;
        SendMessageTimeoutW(m_window, WM_DPICHANGED, MAKEWPARAM(dpi, dpi), reinterpret_cast<LPARAM>(there), SMTO_NORMAL,
                            10000, &answer);
        VirtualFreeEx(m_process.hProcess, there, 0, MEM_RELEASE);
    }
    // The exit code; STILL_ACTIVE if it has not ended in time.
    DWORD Close(DWORD milliseconds) const {
        PostMessageW(m_window, WM_CLOSE, 0, 0);
        WaitForSingleObject(m_process.hProcess, milliseconds);
        DWORD code = STILL_ACTIVE;
        GetExitCodeProcess(m_process.hProcess, &code);
        return code;
    }

private:
    LRESULT Ask(int id, UINT message, WPARAM wParam = 0, LPARAM lParam = 0) const {
        DWORD_PTR answer = 0;
        SendMessageTimeoutW(Control(id), message, wParam, lParam, SMTO_NORMAL, 10000, &answer);
        return static_cast<LRESULT>(answer);
    }
    std::wstring TextBy(int id, UINT message, WPARAM wParam) const {
        wchar_t text[512] = L"";
        Ask(id, message, wParam, reinterpret_cast<LPARAM>(text));
        return text;
    }
    HWND FocusWindow() const {
        GUITHREADINFO info = {};
        info.cbSize = sizeof(info);
        GetGUIThreadInfo(GetWindowThreadProcessId(m_window, nullptr), &info);
        return info.hwndFocus ? info.hwndFocus : m_window;
    }

    PROCESS_INFORMATION m_process = {};
    HWND m_window = nullptr;
};

}  // namespace qsn::test
