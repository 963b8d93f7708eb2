#include "ProductTable.h"

#include <commctrl.h>

#include <algorithm>
#include <iterator>
#include <string>

#include "Format.h"

namespace sample {
namespace {

std::wstring Name(const qsn::Product& product) {
    return qsn::ToWide(product.displayName.empty() ? product.name : product.displayName);
}
std::wstring Version(const qsn::Product& product) {
    return qsn::ToWide(product.displayVersion.empty() ? product.version : product.displayVersion);
}
std::wstring Edition(const qsn::Product& product) {
    return qsn::ToWide(product.displayVersionType.empty() ? product.versionType : product.displayVersionType);
}
std::wstring Size(const qsn::Product& product) { return FormatSize(product.fileSize); }
std::wstring Published(const qsn::Product& product) { return FormatDate(product.publishDate); }

struct Column {
    const wchar_t* title;
    int characters;  // of average width; 0: the rest
    int alignment;
    std::wstring (*text)(const qsn::Product&);
};

constexpr Column kColumns[] = {
    {L"Name", 0, LVCFMT_LEFT, Name},
    {L"Version", 12, LVCFMT_LEFT, Version},
    {L"Edition", 14, LVCFMT_LEFT, Edition},
    {L"Size", 12, LVCFMT_RIGHT, Size},
    {L"Published", 14, LVCFMT_LEFT, Published},
};

}  // namespace

void ProductTable::Attach(HWND listView) {
    m_list = listView;
    ListView_SetExtendedListViewStyle(m_list, LVS_EX_FULLROWSELECT | LVS_EX_DOUBLEBUFFER);
    const int character = ListView_GetStringWidth(m_list, L"0123456789") / 10;
    for (int index = 0; index < static_cast<int>(std::size(kColumns)); ++index) {
        LVCOLUMNW column = {};
        column.mask = LVCF_TEXT | LVCF_WIDTH | LVCF_FMT;
        column.fmt = kColumns[index].alignment;
        column.cx = kColumns[index].characters * character;
        column.pszText = const_cast<wchar_t*>(kColumns[index].title);
        ListView_InsertColumn(m_list, index, &column);
    }
    Arrange();
}

void ProductTable::Show(const std::vector<qsn::Product>& products) {
    SendMessageW(m_list, WM_SETREDRAW, FALSE, 0);
    ListView_DeleteAllItems(m_list);
    for (const qsn::Product& product : products) {
        LVITEMW item = {};
        item.iItem = ListView_GetItemCount(m_list);
        const int row = ListView_InsertItem(m_list, &item);
        for (int index = 0; index < static_cast<int>(std::size(kColumns)); ++index) {
            std::wstring text = kColumns[index].text(product);
            ListView_SetItemText(m_list, row, index, text.data());
        }
    }
    SendMessageW(m_list, WM_SETREDRAW, TRUE, 0);
    InvalidateRect(m_list, nullptr, TRUE);
}

void ProductTable::Arrange() const {
    RECT client;
    GetClientRect(m_list, &client);
    int others = 0;
    for (int index = 1; index < static_cast<int>(std::size(kColumns)); ++index) {
        others += ListView_GetColumnWidth(m_list, index);
    }
    ListView_SetColumnWidth(m_list, 0, std::max<int>(client.right - others, others / 4));
}

}  // namespace sample
