#pragma once

#include <windows.h>

#include <cstddef>
#include <functional>
#include <string_view>

namespace qsn::test {

// Calls `visit(name, entry)` for each function that qsn.dll imports by name; an entry holds the function's address.
// Nothing if the DLL is not loaded.
void ForEachImport(const std::function<void(std::string_view name, ULONGLONG& entry)>& visit);
void WriteImport(ULONGLONG& entry, const void* function);

// While it lives, qsn.dll calls `replacement` in place of the function `name` that it imports. The DLL must stay
// loaded.
class ImportHook {
public:
    template <class Function>
    ImportHook(const char* name, Function* replacement)
        : ImportHook(name, reinterpret_cast<const void*>(replacement)) {}
    ImportHook(const ImportHook&) = delete;
    ImportHook& operator=(const ImportHook&) = delete;
    ~ImportHook() { Write(m_original); }

private:
    ImportHook(const char* name, const void* replacement) : m_name(name) { Write(replacement); }

    void Write(const void* function) {
        ForEachImport([&](std::string_view name, ULONGLONG& entry) {
            if (name != m_name) return;
            if (!m_original) m_original = reinterpret_cast<const void*>(entry);
            WriteImport(entry, function);
        });
    }

    const char* m_name;
    const void* m_original = nullptr;
};

}  // namespace qsn::test
