#pragma once

#include <windows.h>

#include <qsn/client.hpp>

#include <vector>

namespace sample {

// The product list in a list view of the report kind.
class ProductTable {
public:
    void Attach(HWND listView);
    void Show(const std::vector<qsn::Product>& products);
    // For when the list view's size has changed: the first column takes what the others leave.
    void Arrange() const;

private:
    HWND m_list = nullptr;
};

}  // namespace sample
