#pragma once

#include <windows.h>

#include <string>
#include <vector>

#include "Utility/Interruption.h"

namespace qsn {

// The addresses of `host` as numbers, IPv6 ones in brackets, in the system's order; the system must have Winsock
// started. Empty: there is no such name, `milliseconds` are over, or `interruption` broke the
// wait off. Nothing of the library runs or is written to afterwards, even if the system is still asking.
std::vector<std::string> ResolveName(const std::string& host, Interruption& interruption, DWORD milliseconds);

// The addresses of hosts, each asked for again after a minute.
class KnownAddresses {
public:
    // Those of `host`, separated by commas; `port` is the one that it is asked for. Empty as above, but that older ones
    // stand in if the name server is silent: a connection may still be there.
    std::string For(const std::string& host, const std::string& port, Interruption& interruption, DWORD milliseconds);

private:
    struct Address {
        std::string name;
        std::string numbers;
        ULONGLONG since;
    };
    std::vector<Address> m_addresses;
};

}  // namespace qsn
