#pragma once

#include <windows.h>

#include <commctrl.h>
#include <shlwapi.h>

#include <qsn/client.hpp>

#include <algorithm>
#include <iterator>
#include <optional>
#include <string>
#include <vector>

namespace sample {

// In the form that people read in their own language; as the service wrote it if it is no date.
inline std::wstring FormatDate(const std::optional<qsn::Date>& date, const std::string& text) {
    if (!date) return qsn::ToWide(text);
    SYSTEMTIME time = {};
    time.wYear = static_cast<WORD>(date->year);
    time.wMonth = static_cast<WORD>(date->month);
    time.wDay = static_cast<WORD>(date->day);
    wchar_t formatted[80] = L"";
    GetDateFormatEx(LOCALE_NAME_USER_DEFAULT, DATE_SHORTDATE, &time, nullptr, formatted, 80, nullptr);
    return formatted;
}

inline std::wstring FormatSize(std::uint64_t bytes) {
    wchar_t text[32] = L"";
    if (bytes != 0) StrFormatByteSizeW(static_cast<LONGLONG>(bytes), text, 32);
    return text;
}

// The product list in a list view of the report kind.
class ProductTable {
public:
    void Attach(HWND listView) {
        m_list = listView;
        ListView_SetExtendedListViewStyle(m_list, LVS_EX_FULLROWSELECT | LVS_EX_DOUBLEBUFFER);
        for (int index = 0; index < kCount; ++index) {
            LVCOLUMNW column = {};
            column.mask = LVCF_TEXT | LVCF_FMT;
            column.fmt = index == 3 ? LVCFMT_RIGHT : LVCFMT_LEFT;
            column.pszText = const_cast<wchar_t*>(kTitles[index]);
            ListView_InsertColumn(m_list, index, &column);
        }
        Arrange();
    }

    void Show(const std::vector<qsn::Product>& products) const {
        SendMessageW(m_list, WM_SETREDRAW, FALSE, 0);
        ListView_DeleteAllItems(m_list);
        for (const qsn::Product& each : products) {
            std::wstring texts[kCount] = {Either(each.displayName, each.name),
                                          Either(each.displayVersion, each.version),
                                          Either(each.displayVersionType, each.versionType), FormatSize(each.fileSize),
                                          FormatDate(each.publishDate, each.publishDateText)};
            LVITEMW item = {};
            item.iItem = ListView_GetItemCount(m_list);
            const int row = ListView_InsertItem(m_list, &item);
            for (int index = 0; index < kCount; ++index) ListView_SetItemText(m_list, row, index, texts[index].data());
        }
        SendMessageW(m_list, WM_SETREDRAW, TRUE, 0);
        InvalidateRect(m_list, nullptr, TRUE);
    }

    // For when the list view's size or font has changed: the first column takes what the others leave.
    void Arrange() const {
        RECT client;
        GetClientRect(m_list, &client);
        const int width = ListView_GetStringWidth(m_list, L"0123456789012");
        for (int index = 1; index < kCount; ++index) ListView_SetColumnWidth(m_list, index, width);
        ListView_SetColumnWidth(m_list, 0, std::max<int>(client.right - width * (kCount - 1), width));
    }

private:
    static std::wstring Either(const std::string& display, const std::string& plain) {
        return qsn::ToWide(display.empty() ? plain : display);
    }

    static constexpr const wchar_t* kTitles[] = {L"Name", L"Version", L"Edition", L"Size", L"Published"};
    static constexpr int kCount = static_cast<int>(std::size(kTitles));

    HWND m_list = nullptr;
};

}  // namespace sample
