#pragma once

#include <windows.h>

#include <memory>

#include "Account.h"
#include "Anchors.h"
#include "Options.h"
#include "ProductTable.h"
#include "UiQueue.h"

namespace sample {

// The window: a modeless dialog, so the system takes care of tab order, mnemonics and the default button.
class PanelWindow final : private AccountView {
public:
    // Throws std::system_error.
    PanelWindow(HINSTANCE instance, const Options& options);
    ~PanelWindow();
    PanelWindow(const PanelWindow&) = delete;
    PanelWindow& operator=(const PanelWindow&) = delete;

    // Returns when the window is closed.
    void Run(HINSTANCE instance, int show);

private:
    static INT_PTR CALLBACK Dispatch(HWND window, UINT message, WPARAM wParam, LPARAM lParam);
    INT_PTR Handle(UINT message, WPARAM wParam, LPARAM lParam);
    void Initialise();
    void Command(int id);
    void ShowAccountMenu();

    void ShowState(const AccountState& state) override;
    void ShowProducts(const std::vector<qsn::Product>& products) override;
    void AddNews(const std::wstring& text) override;

    void SetText(int id, const std::wstring& text) const;
    void Enable(int id, bool enabled) const;

    struct FontDeleter {
        void operator()(HFONT font) const { DeleteObject(font); }
    };

    const Options& m_options;
    HWND m_window = nullptr;
    Anchors m_anchors;
    ProductTable m_products;
    std::unique_ptr<std::remove_pointer_t<HFONT>, FontDeleter> m_nameFont;
    std::vector<qsn::MenuItem> m_menu;
    std::shared_ptr<UiQueue> m_queue;
    std::unique_ptr<Account> m_account;
};

}  // namespace sample
