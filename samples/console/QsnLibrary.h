#pragma once

#include <qsn/qsn.h>

#include <stdexcept>
#include <string>

namespace sample {

// qsn.dll, loaded from the folder of this program, for as long as this object lives. Everything that came from the DLL
// must have been released by then.
class QsnLibrary {
public:
    QsnLibrary() : m_module(LoadLibraryExW(L"qsn.dll", nullptr, kSearch)) {
        if (!m_module) throw std::runtime_error("qsn.dll cannot be loaded, error " + std::to_string(GetLastError()));
        // Through void*: GetProcAddress knows only one type of function.
        m_create = reinterpret_cast<CreateQSNFunc>(reinterpret_cast<void*>(GetProcAddress(m_module, "CreateQSN")));
        if (!m_create) {
            FreeLibrary(m_module);
            throw std::runtime_error("qsn.dll exports no CreateQSN");
        }
    }
    ~QsnLibrary() { FreeLibrary(m_module); }
    QsnLibrary(const QsnLibrary&) = delete;
    QsnLibrary& operator=(const QsnLibrary&) = delete;

    // Null where the library could not make one. The caller releases it.
    IPVSubscription2* Create() const {
        void* object = nullptr;
        return SUCCEEDED(m_create(&object)) ? static_cast<IPVSubscription2*>(object) : nullptr;
    }

private:
    // Not the current folder and not the PATH: whoever can write there could slip us a DLL of their own.
    static constexpr DWORD kSearch = LOAD_LIBRARY_SEARCH_APPLICATION_DIR | LOAD_LIBRARY_SEARCH_SYSTEM32;

    HMODULE m_module;
    CreateQSNFunc m_create;
};

}  // namespace sample
