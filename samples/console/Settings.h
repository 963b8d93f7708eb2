#pragma once

#include <string>

namespace sample {

// What the command line says.
struct Settings {
    std::wstring sid = L"QSN-DEMO";
    std::string token;        // empty: the shared one from `sign-in`
    std::string memberToken;  // for the walk through token renewal
    bool noBrowser = false;
    bool packs = false;
    bool log = false;
};

}  // namespace sample
