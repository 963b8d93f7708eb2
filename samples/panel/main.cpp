// A window that shows the user's account: how a host with a user interface uses the client library.

#include <windows.h>

#include <commctrl.h>

#include <algorithm>
#include <cstdlib>
#include <exception>
#include <memory>
#include <system_error>

#include "Account.h"
#include "Ids.h"
#include "Layout.h"
#include "ProductTable.h"
#include "UiQueue.h"

namespace {

using namespace sample;

// A request that is running when the window closes has this long to end.
constexpr std::chrono::seconds kTimeToLeave{2};

// An ampersand in a menu item's text would underline what follows it.
std::wstring MenuText(const std::string& item) {
    std::wstring text;
    for (const wchar_t c : qsn::ToWide(item)) text.append(c == L'&' ? 2 : 1, c);
    return text;
}

std::wstring QuotaText(const qsn::Quota& quota) {
    const std::wstring date = FormatDate(quota.resetDate, quota.resetDateText);
    return date.empty() ? L"" : std::to_wstring(quota.remaining) + L" downloads left until " + date;
}

// A modeless dialog, so the system takes care of tab order, mnemonics and the default button.
class PanelWindow {
public:
    PanelWindow(HINSTANCE instance, const Options& options)
        : m_account(
              options, [this](const AccountState& state) { Show(state); },
              [this](const std::wstring& text) { AddNews(text); }) {
        WNDCLASSEXW windowClass = {};
        windowClass.cbSize = sizeof(windowClass);
        windowClass.lpfnWndProc = DefDlgProcW;
        windowClass.cbWndExtra = DLGWINDOWEXTRA;
        windowClass.hInstance = instance;
        windowClass.hIcon = LoadIconW(nullptr, IDI_APPLICATION);
        windowClass.hCursor = LoadCursorW(nullptr, IDC_ARROW);
        windowClass.lpszClassName = L"" PANEL_CLASS;
        RegisterClassExW(&windowClass);
        if (!CreateDialogParamW(instance, MAKEINTRESOURCEW(IDD_PANEL), nullptr, Dispatch,
                                reinterpret_cast<LPARAM>(this))) {
            throw std::system_error(static_cast<int>(GetLastError()), std::system_category(), "CreateDialogParam");
        }
    }

    // Returns when the window is closed.
    void Run(HINSTANCE instance, int show) {
        const HACCEL keys = LoadAcceleratorsW(instance, MAKEINTRESOURCEW(IDR_KEYS));
        ShowWindow(m_window, show);
        m_account.Start([queue = m_queue](std::function<void()> work) { queue->Post(std::move(work)); });
        MSG message;
        while (GetMessageW(&message, nullptr, 0, 0) > 0) {
            if (TranslateAcceleratorW(m_window, keys, &message) || IsDialogMessageW(m_window, &message)) continue;
            TranslateMessage(&message);
            DispatchMessageW(&message);
        }
        m_account.Leave(kTimeToLeave);
    }

private:
    static INT_PTR CALLBACK Dispatch(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
        if (message == WM_INITDIALOG) {
            SetWindowLongPtrW(window, DWLP_USER, lParam);
            reinterpret_cast<PanelWindow*>(lParam)->m_window = window;
        }
        auto* const self = reinterpret_cast<PanelWindow*>(GetWindowLongPtrW(window, DWLP_USER));
        return self ? self->Handle(message, wParam, lParam) : FALSE;
    }

    INT_PTR Handle(UINT message, WPARAM wParam, LPARAM lParam) {
        switch (message) {
            case WM_INITDIALOG: Initialise(); return TRUE;
            case UiQueue::kMessage: m_queue->RunOne(); return TRUE;
            case WM_COMMAND: Command(LOWORD(wParam)); return TRUE;
            case WM_SIZE:
                if (wParam == SIZE_MINIMIZED) return FALSE;
                m_layout.Arrange(LOWORD(lParam), HIWORD(lParam));
                m_products.Arrange();
                return TRUE;
            case WM_DPICHANGED: Rescale(LOWORD(wParam), *reinterpret_cast<const RECT*>(lParam)); return TRUE;
            case WM_GETMINMAXINFO: m_layout.Limit(*reinterpret_cast<MINMAXINFO*>(lParam)); return TRUE;
            case WM_CLOSE: DestroyWindow(m_window); return TRUE;
            case WM_DESTROY: PostQuitMessage(0); return TRUE;
            default: return FALSE;
        }
    }

    void Initialise() {
        // Windows would scale the controls by itself, but back to where the template has them.
        using Behaviour = BOOL(WINAPI*)(HWND, int, int);
        const auto user32 = GetModuleHandleW(L"user32.dll");
        const auto set = reinterpret_cast<void*>(GetProcAddress(user32, "SetDialogDpiChangeBehavior"));
        if (set) reinterpret_cast<Behaviour>(set)(m_window, 1, 1);
        GetObjectW(reinterpret_cast<HFONT>(SendMessageW(m_window, WM_GETFONT, 0, 0)), sizeof(m_fontAtFirst),
                   &m_fontAtFirst);
        m_queue = std::make_shared<UiQueue>(m_window);
        m_layout.Attach(m_window);
        m_products.Attach(GetDlgItem(m_window, IDC_PRODUCTS));
        SetFonts();
        // In line with the labels.
        SendDlgItemMessageW(m_window, IDC_STATUS, EM_SETMARGINS, EC_LEFTMARGIN, 0);
    }

    // For another screen.
    void Rescale(int dpi, const RECT& place) {
        m_layout.Rescale(dpi);
        SetFonts();
        SetWindowPos(m_window, nullptr, place.left, place.top, place.right - place.left, place.bottom - place.top,
                     SWP_NOZORDER | SWP_NOACTIVATE);
    }

    void SetFonts() {
        LOGFONTW description = m_fontAtFirst;
        description.lfHeight = m_layout.Scaled(m_fontAtFirst.lfHeight);
        Font font(CreateFontIndirectW(&description));
        description.lfHeight = MulDiv(description.lfHeight, 3, 2);
        Font nameFont(CreateFontIndirectW(&description));
        for (int id = IDC_NAME; id <= IDC_CANCEL; ++id) {
            const HFONT own = id == IDC_NAME ? nameFont.get() : font.get();
            SendDlgItemMessageW(m_window, id, WM_SETFONT, reinterpret_cast<WPARAM>(own), FALSE);
        }
        m_font = std::move(font);
        m_nameFont = std::move(nameFont);
    }

    void Command(int id) {
        // A key sends its command even if the button is disabled.
        if (const HWND control = GetDlgItem(m_window, id); control && !IsWindowEnabled(control)) return;
        switch (id) {
            case IDC_SIGN_IN: m_account.SignIn(); break;
            case IDC_SIGN_OUT: m_account.SignOut(); break;
            case IDC_REFRESH: m_account.Refresh(); break;
            case IDC_CANCEL:
            case IDCANCEL: m_account.Cancel(); break;  // the button, and the key Esc
            case IDC_MENU: ShowAccountMenu(); break;
            default: {
                const auto index = static_cast<std::size_t>(id - IDM_ACCOUNT_FIRST);
                if (id >= IDM_ACCOUNT_FIRST && index < m_menu.size()) (void)m_account.Open(m_menu[index].url);
            }
        }
    }

    void ShowAccountMenu() {
        const HMENU menu = CreatePopupMenu();
        UINT_PTR id = IDM_ACCOUNT_FIRST;
        for (const qsn::MenuItem& each : m_menu) AppendMenuW(menu, MF_STRING, id++, MenuText(each.item).c_str());
        RECT button;
        GetWindowRect(GetDlgItem(m_window, IDC_MENU), &button);
        TPMPARAMS notOver = {sizeof(notOver), button};
        TrackPopupMenuEx(menu, TPM_LEFTALIGN | TPM_VERTICAL, button.left, button.bottom, m_window, &notOver);
        DestroyMenu(menu);
    }

    void Show(const AccountState& state) {
        m_menu = state.user.menu;
        if (m_shown != state.products) m_products.Show(*state.products);
        m_shown = state.products;
        SetText(IDC_NAME, state.isSignedIn ? qsn::ToWide(state.user.name) : L"Not signed in");
        SetText(IDC_DETAIL, state.isSignedIn ? qsn::ToWide(state.user.email) : L"Sign in to see your products.");
        SetText(IDC_QUOTA, QuotaText(state.quota));
        SetText(IDC_STATUS, state.status);
        Enable(IDC_SIGN_IN, !state.isBusy && !state.isSignedIn);
        Enable(IDC_SIGN_OUT, !state.isBusy && state.isSignedIn);
        Enable(IDC_REFRESH, !state.isBusy && state.isSignedIn);
        Enable(IDC_CANCEL, state.isBusy);
        Enable(IDC_MENU, !m_menu.empty());
        // A disabled control keeps the keyboard focus but answers no key.
        const HWND focus = GetFocus();
        if (focus && !IsWindowEnabled(focus)) SendMessageW(m_window, WM_NEXTDLGCTL, 0, FALSE);
    }

    void AddNews(std::wstring text) {
        std::replace_if(
            text.begin(), text.end(), [](wchar_t c) { return c < L' '; }, L' ');
        wchar_t time[40] = L"";
        GetTimeFormatEx(LOCALE_NAME_USER_DEFAULT, TIME_NOSECONDS, nullptr, nullptr, time, 40);
        const std::wstring line = time + (L"   " + text);
        // The newest first; more than these would be a log.
        SendDlgItemMessageW(m_window, IDC_NEWS, LB_INSERTSTRING, 0, reinterpret_cast<LPARAM>(line.c_str()));
        SendDlgItemMessageW(m_window, IDC_NEWS, LB_DELETESTRING, 200, 0);
        m_newsWidth = std::max(m_newsWidth, ListView_GetStringWidth(GetDlgItem(m_window, IDC_PRODUCTS), line.c_str()));
        SendDlgItemMessageW(m_window, IDC_NEWS, LB_SETHORIZONTALEXTENT, static_cast<WPARAM>(m_newsWidth), 0);
    }

    // Only if it changes: setting the same text flickers, and a screen reader reads it again.
    void SetText(int id, const std::wstring& text) const {
        const HWND control = GetDlgItem(m_window, id);
        std::wstring shown(static_cast<std::size_t>(GetWindowTextLengthW(control)), L'\0');
        GetWindowTextW(control, shown.data(), static_cast<int>(shown.size()) + 1);
        if (shown != text) SetWindowTextW(control, text.c_str());
    }

    void Enable(int id, bool enabled) const { EnableWindow(GetDlgItem(m_window, id), enabled); }

    struct FontDeleter {
        void operator()(HFONT font) const { DeleteObject(font); }
    };
    using Font = std::unique_ptr<std::remove_pointer_t<HFONT>, FontDeleter>;

    HWND m_window = nullptr;
    Layout m_layout;
    ProductTable m_products;
    LOGFONTW m_fontAtFirst = {};
    Font m_font;
    Font m_nameFont;
    std::vector<qsn::MenuItem> m_menu;
    std::shared_ptr<const Products> m_shown;
    int m_newsWidth = 0;
    std::shared_ptr<UiQueue> m_queue;
    Account m_account;
};

Options ReadOptions() {
    Options options;
    for (int i = 1; i < __argc; ++i) {
        const std::wstring name = __wargv[i];
        if (name == L"--no-browser") {
            options.noBrowser = true;
        } else if (name == L"--sid" && i + 1 < __argc) {
            options.sid = __wargv[++i];
        } else if (name == L"--token" && i + 1 < __argc) {
            options.token = qsn::ToUtf8(__wargv[++i]);
        } else {
            throw std::runtime_error("account-panel [--sid PRODUCT_SID] [--token ACCESS_TOKEN] [--no-browser]");
        }
    }
    return options;
}

}  // namespace

int WINAPI wWinMain(HINSTANCE hInstance, HINSTANCE, PWSTR, int nShowCmd) {
    try {
        const INITCOMMONCONTROLSEX controls = {sizeof(controls), ICC_STANDARD_CLASSES | ICC_LISTVIEW_CLASSES};
        InitCommonControlsEx(&controls);
        PanelWindow(hInstance, ReadOptions()).Run(hInstance, nShowCmd);
        return 0;
    } catch (const std::exception& failure) {
        MessageBoxA(nullptr, failure.what(), "Account", MB_ICONERROR);
        return 1;
    }
}
