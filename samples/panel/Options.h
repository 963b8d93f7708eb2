#pragma once

#include <string>

namespace sample {

// account-panel [--sid PRODUCT_SID] [--token ACCESS_TOKEN] [--no-browser]
struct Options {
    std::wstring sid = L"QSN-DEMO";
    std::string token;       // not empty: signs in with it at once
    bool noBrowser = false;  // addresses are shown in the status line instead of opened
    bool understood = true;
};

Options ReadOptions();

}  // namespace sample
