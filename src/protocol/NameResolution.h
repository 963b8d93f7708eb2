#pragma once

#include <windows.h>

#include <string>
#include <vector>

namespace qsn {

// The addresses of `host` as numbers, IPv6 ones in brackets, in the system's order; the system must have Winsock
// started. Empty: there is no such name, `milliseconds` are over, or the event `breakOff` was signalled, which ends the
// wait at once. Nothing of the library runs or is written to afterwards, even if the system is still asking.
std::vector<std::string> ResolveName(const std::string& host, HANDLE breakOff, DWORD milliseconds);

}  // namespace qsn
