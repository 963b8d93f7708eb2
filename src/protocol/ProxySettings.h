#pragma once

#include <windows.h>

#include <string>
#include <vector>

#include "Utility/Interruption.h"
#include "protocol/ProxyScript.h"
#include "protocol/RegistryWatch.h"

namespace qsn {

// The user's proxy settings, those of "Internet Options", as they are at the time of each call. For one thread.
class ProxySettings {
public:
    // The ways to port 443 of `host`, best first, as libcurl takes them: "http://proxy:8080", or "" for the way without
    // a proxy. Never empty. In this order, if it is set and works: automatic detection, a script's address, what is
    // named with its exceptions. `interruption` ends the search for a script at once, `milliseconds` each of the two.
    std::vector<std::string> For(const std::string& host, Interruption& interruption, DWORD milliseconds);

private:
    struct Values {
        bool detects = false;
        std::wstring script;
        std::vector<std::string> named;
        std::string exceptions;
        bool isWhole = false;  // the system could say what each of them is
    };

    static Values Read();
    void Update();

    RegistryWatch m_watch;
    Values m_values;
    ProxyScript m_detected;
    ProxyScript m_script;
};

}  // namespace qsn
