#pragma once

#include <windows.h>

#include <functional>
#include <string>

#include "Rows.h"
#include "Utility/Win32Owners.h"

namespace qsn::bench {

// What only the first call in a process costs, or what must not share a process, is measured in copies of this program.
// They are started with "--child NAME".

void AddChild(const char* name, std::function<Figures()> measure);
// In the child: writes what the child of that name measured. False if it has not been added.
bool RunAsChild(const std::string& name);

// In the parent: what a child measured. Throws std::runtime_error if it failed.
Figures FiguresOfChild(const std::string& name);

// A child that stays until destruction ends it. The constructor returns when it has called `TellReady`.
class LastingChild {
public:
    explicit LastingChild(const std::string& name);
    ~LastingChild();
    LastingChild(const LastingChild&) = delete;
    LastingChild& operator=(const LastingChild&) = delete;

private:
    UniqueHandle m_process;
};
void TellReady();

}  // namespace qsn::bench
