// A window that shows the user's account: how a host with a user interface uses the client library.
//
//   account-panel [--sid PRODUCT_SID] [--token ACCESS_TOKEN] [--no-browser]

#include <windows.h>

#include <commctrl.h>
#include <objbase.h>

#include <exception>

#include "Options.h"
#include "PanelWindow.h"

int WINAPI wWinMain(HINSTANCE hInstance, HINSTANCE, PWSTR, int nShowCmd) {
    try {
        const sample::Options options = sample::ReadOptions();
        if (!options.understood) {
            MessageBoxW(nullptr, L"account-panel [--sid PRODUCT_SID] [--token ACCESS_TOKEN] [--no-browser]", L"Account",
                        MB_ICONINFORMATION);
            return 2;
        }
        // Browsers may be started through COM.
        CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED | COINIT_DISABLE_OLE1DDE);
        const INITCOMMONCONTROLSEX controls = {sizeof(controls), ICC_STANDARD_CLASSES | ICC_LISTVIEW_CLASSES};
        InitCommonControlsEx(&controls);
        sample::PanelWindow(hInstance, options).Run(hInstance, nShowCmd);
        CoUninitialize();
        return 0;
    } catch (const std::exception& failure) {
        MessageBoxA(nullptr, failure.what(), "Account", MB_ICONERROR);
        return 1;
    }
}
