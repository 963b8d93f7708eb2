#include "PanelWindow.h"

#include <algorithm>
#include <system_error>
#include <utility>

#include "Ids.h"

namespace sample {
namespace {

constexpr Anchor kAnchors[] = {
    {IDC_NAME, 0, 0, 100, 0},      {IDC_DETAIL, 0, 0, 100, 0},      {IDC_MENU, 100, 0, 100, 0},
    {IDC_SIGN_IN, 100, 0, 100, 0}, {IDC_SIGN_OUT, 100, 0, 100, 0},  {IDC_PRODUCTS, 0, 0, 100, 70},
    {IDC_QUOTA, 0, 70, 100, 70},   {IDC_REFRESH, 100, 70, 100, 70}, {IDC_NEWS_LABEL, 0, 70, 0, 70},
    {IDC_NEWS, 0, 70, 100, 100},   {IDC_STATUS, 0, 100, 100, 100},
};

// A longer list would be a log. The oldest go first.
constexpr LRESULT kMostNews = 200;

// A request that is running when the window closes has this long to end.
constexpr std::chrono::seconds kTimeToLeave{2};

[[noreturn]] void ThrowLastError(const char* call) {
    throw std::system_error(static_cast<int>(GetLastError()), std::system_category(), call);
}

std::wstring TimeOfDay() {
    wchar_t text[40] = L"";
    GetTimeFormatEx(LOCALE_NAME_USER_DEFAULT, TIME_NOSECONDS, nullptr, nullptr, text, 40);
    return text;
}

// An ampersand in a menu item's text would underline what follows it.
std::wstring MenuText(const std::string& item) {
    std::wstring text;
    for (const wchar_t c : qsn::ToWide(item)) text.append(c == L'&' ? 2 : 1, c);
    return text;
}

HFONT LargerFont(HFONT font) {
    LOGFONTW description = {};
    GetObjectW(font, sizeof(description), &description);
    description.lfHeight = MulDiv(description.lfHeight, 3, 2);
    return CreateFontIndirectW(&description);
}

}  // namespace

PanelWindow::PanelWindow(HINSTANCE instance, const Options& options) : m_options(options) {
    WNDCLASSEXW windowClass = {};
    windowClass.cbSize = sizeof(windowClass);
    windowClass.lpfnWndProc = DefDlgProcW;
    windowClass.cbWndExtra = DLGWINDOWEXTRA;
    windowClass.hInstance = instance;
    windowClass.hIcon = LoadIconW(nullptr, IDI_APPLICATION);
    windowClass.hCursor = LoadCursorW(nullptr, IDC_ARROW);
    windowClass.lpszClassName = L"" PANEL_CLASS;
    if (!RegisterClassExW(&windowClass)) ThrowLastError("RegisterClassEx");
    if (!CreateDialogParamW(instance, MAKEINTRESOURCEW(IDD_PANEL), nullptr, Dispatch, reinterpret_cast<LPARAM>(this))) {
        ThrowLastError("CreateDialogParam");
    }
}

PanelWindow::~PanelWindow() {
    m_queue->Close();
    m_account->Leave(kTimeToLeave);
}

void PanelWindow::Run(HINSTANCE instance, int show) {
    const HACCEL keys = LoadAcceleratorsW(instance, MAKEINTRESOURCEW(IDR_KEYS));
    ShowWindow(m_window, show);
    m_account->Start();
    MSG message;
    while (GetMessageW(&message, nullptr, 0, 0) > 0) {
        if (TranslateAcceleratorW(m_window, keys, &message) || IsDialogMessageW(m_window, &message)) continue;
        TranslateMessage(&message);
        DispatchMessageW(&message);
    }
}

INT_PTR CALLBACK PanelWindow::Dispatch(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
    if (message == WM_INITDIALOG) {
        SetWindowLongPtrW(window, DWLP_USER, lParam);
        reinterpret_cast<PanelWindow*>(lParam)->m_window = window;
    }
    auto* const self = reinterpret_cast<PanelWindow*>(GetWindowLongPtrW(window, DWLP_USER));
    return self ? self->Handle(message, wParam, lParam) : FALSE;
}

INT_PTR PanelWindow::Handle(UINT message, WPARAM wParam, LPARAM lParam) {
    switch (message) {
        case WM_INITDIALOG: Initialise(); return TRUE;
        case UiQueue::kMessage: m_queue->Run(); return TRUE;
        case WM_COMMAND: Command(LOWORD(wParam)); return TRUE;
        case WM_SIZE:
            if (wParam == SIZE_MINIMIZED) return FALSE;
            m_anchors.Arrange(m_window, LOWORD(lParam), HIWORD(lParam));
            m_products.Arrange();
            return TRUE;
        case WM_GETMINMAXINFO: m_anchors.Limit(*reinterpret_cast<MINMAXINFO*>(lParam)); return TRUE;
        case WM_CLOSE: DestroyWindow(m_window); return TRUE;
        case WM_DESTROY: PostQuitMessage(0); return TRUE;
        default: return FALSE;
    }
}

void PanelWindow::Initialise() {
    m_anchors.Attach(m_window, kAnchors);
    m_products.Attach(GetDlgItem(m_window, IDC_PRODUCTS));
    m_nameFont.reset(LargerFont(reinterpret_cast<HFONT>(SendMessageW(m_window, WM_GETFONT, 0, 0))));
    SendDlgItemMessageW(m_window, IDC_NAME, WM_SETFONT, reinterpret_cast<WPARAM>(m_nameFont.get()), FALSE);
    // In line with the labels.
    SendDlgItemMessageW(m_window, IDC_STATUS, EM_SETMARGINS, EC_LEFTMARGIN, 0);
    m_queue = std::make_shared<UiQueue>(m_window);
    m_account = std::make_unique<Account>(m_options, m_queue, static_cast<AccountView&>(*this));
}

void PanelWindow::Command(int id) {
    // A key sends its command even if the button is disabled.
    if (const HWND control = GetDlgItem(m_window, id); control && !IsWindowEnabled(control)) return;
    switch (id) {
        case IDC_SIGN_IN: m_account->SignInWithBrowser(); break;
        case IDC_SIGN_OUT: m_account->SignOut(); break;
        case IDC_REFRESH: m_account->Refresh(); break;
        case IDC_MENU: ShowAccountMenu(); break;
        default: {
            const auto index = static_cast<std::size_t>(id - IDM_ACCOUNT_FIRST);
            if (id >= IDM_ACCOUNT_FIRST && index < m_menu.size()) m_account->Open(m_menu[index].url);
        }
    }
}

void PanelWindow::ShowAccountMenu() {
    const HMENU menu = CreatePopupMenu();
    int id = IDM_ACCOUNT_FIRST;
    for (const qsn::MenuItem& each : m_menu) {
        AppendMenuW(menu, MF_STRING, static_cast<UINT_PTR>(id++), MenuText(each.item).c_str());
    }
    RECT button;
    GetWindowRect(GetDlgItem(m_window, IDC_MENU), &button);
    TPMPARAMS notOver = {sizeof(notOver), button};
    TrackPopupMenuEx(menu, TPM_LEFTALIGN | TPM_VERTICAL, button.left, button.bottom, m_window, &notOver);
    DestroyMenu(menu);
}

void PanelWindow::ShowState(const AccountState& state) {
    m_menu = state.menu;
    m_menu.resize(std::min<std::size_t>(m_menu.size(), IDM_ACCOUNT_LAST - IDM_ACCOUNT_FIRST + 1));
    const bool waitingForBrowser = state.phase == Phase::kWaitingForBrowser;
    SetText(IDC_NAME, state.IsSignedIn() ? state.name : L"Not signed in");
    SetText(IDC_DETAIL, state.IsSignedIn() ? state.email : L"Sign in to see your products.");
    SetText(IDC_QUOTA, state.quota);
    SetText(IDC_STATUS, state.status);
    SetText(IDC_SIGN_IN, waitingForBrowser ? L"&Cancel" : L"Sign &in");
    Enable(IDC_SIGN_IN, waitingForBrowser || state.phase == Phase::kSignedOut);
    Enable(IDC_SIGN_OUT, state.IsSignedIn());
    Enable(IDC_REFRESH, state.phase == Phase::kSignedIn);
    Enable(IDC_MENU, !m_menu.empty());
    // A disabled control keeps the keyboard focus but answers no key.
    const HWND focus = GetFocus();
    if (focus && !IsWindowEnabled(focus)) SendMessageW(m_window, WM_NEXTDLGCTL, 0, FALSE);
}

void PanelWindow::ShowProducts(const std::vector<qsn::Product>& products) { m_products.Show(products); }

void PanelWindow::AddNews(const std::wstring& text) {
    std::wstring line = TimeOfDay() + L"   " + text;
    std::replace_if(
        line.begin(), line.end(), [](wchar_t c) { return c < L' '; }, L' ');
    const HWND list = GetDlgItem(m_window, IDC_NEWS);
    if (SendMessageW(list, LB_GETCOUNT, 0, 0) >= kMostNews) SendMessageW(list, LB_DELETESTRING, 0, 0);
    const LRESULT index = SendMessageW(list, LB_ADDSTRING, 0, reinterpret_cast<LPARAM>(line.c_str()));
    SendMessageW(list, LB_SETTOPINDEX, static_cast<WPARAM>(index), 0);
    const HDC context = GetDC(list);
    const HGDIOBJ before = SelectObject(context, reinterpret_cast<HFONT>(SendMessageW(list, WM_GETFONT, 0, 0)));
    SIZE size = {};
    GetTextExtentPoint32W(context, line.c_str(), static_cast<int>(line.size()), &size);
    SelectObject(context, before);
    ReleaseDC(list, context);
    const LRESULT widest = std::max<LRESULT>(SendMessageW(list, LB_GETHORIZONTALEXTENT, 0, 0), size.cx + 8);
    SendMessageW(list, LB_SETHORIZONTALEXTENT, static_cast<WPARAM>(widest), 0);
}

// Only if it changes: setting the same text flickers, and a screen reader reads it again.
void PanelWindow::SetText(int id, const std::wstring& text) const {
    const HWND control = GetDlgItem(m_window, id);
    std::wstring shown(static_cast<std::size_t>(GetWindowTextLengthW(control)), L'\0');
    GetWindowTextW(control, shown.data(), static_cast<int>(shown.size()) + 1);
    if (shown != text) SetWindowTextW(control, text.c_str());
}

void PanelWindow::Enable(int id, bool enabled) const { EnableWindow(GetDlgItem(m_window, id), enabled); }

}  // namespace sample
