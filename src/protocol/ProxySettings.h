#pragma once

#include <windows.h>

#include <string>
#include <vector>

namespace qsn {

class ProxySettings {
public:
    std::vector<std::string> For(const std::string& host, HANDLE breakOff, DWORD milliseconds);
};

}  // namespace qsn
