#pragma once

#include <windows.h>

#include <cstddef>
#include <functional>
#include <string_view>

namespace qsn::test {

// Calls `visit(name, entry)` for each function that the module imports by name; null stands for the test's own program.
// An entry holds the function's address. Does nothing if the module is not loaded.
void ForEachImport(const std::function<void(std::string_view name, ULONGLONG& entry)>& visit,
                   const wchar_t* moduleName = L"qsn.dll");
void WriteImport(ULONGLONG& entry, const void* function);

// While it lives, the module calls `replacement` in place of the function `name` that it imports. It must stay loaded.
class ImportHook {
public:
    template <class Function>
    ImportHook(const char* name, Function* replacement, const wchar_t* moduleName = L"qsn.dll")
        : m_name(name), m_moduleName(moduleName) {
        Write(reinterpret_cast<const void*>(replacement));
    }
    ImportHook(const ImportHook&) = delete;
    ImportHook& operator=(const ImportHook&) = delete;
    ~ImportHook() { Write(m_original); }

private:
    void Write(const void* function) {
        const auto write = [&](std::string_view name, ULONGLONG& entry) {
            if (name != m_name) return;
            if (!m_original) m_original = reinterpret_cast<const void*>(entry);
            WriteImport(entry, function);
        };
        ForEachImport(write, m_moduleName);
    }

    const char* m_name;
    const wchar_t* m_moduleName;
    const void* m_original = nullptr;
};

}  // namespace qsn::test
