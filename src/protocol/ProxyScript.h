#pragma once

#include <windows.h>

#include <optional>
#include <string>
#include <vector>

#include "Utility/Interruption.h"
#include "Utility/Win32Owners.h"

namespace qsn {

// Has the system's HTTP library, WinHTTP, fetch and run a proxy script. For one thread.
class ProxyScript {
public:
    // The ways to port 443 of `host` that the script at `address` names, best first, as libcurl takes them, "" for the
    // one without a proxy. An empty address: the script that the network tells of, if it does. Empty: no script could
    // be had or it failed, and then it is left alone for a while, `milliseconds` are over, or `interruption` broke
    // the search off. Nothing of the library runs or is written to afterwards,
    // even if the system is still at it.
    std::vector<std::string> Ask(const std::wstring& address, const std::string& host, Interruption& interruption,
                                 DWORD milliseconds);

private:
    std::vector<std::string> Run(const std::wstring& address, const std::string& host, Interruption& interruption,
                                 DWORD milliseconds);

    UniqueModule m_library;  // loaded when there is something to ask
    std::optional<std::wstring> m_failed;
    ULONGLONG m_failedAt = 0;
};

}  // namespace qsn
