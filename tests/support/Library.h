#pragma once

#include <qsn/qsn.h>

#include <memory>
#include <stdexcept>
#include <string>

namespace qsn::test {

// qsn.dll as a host uses it: loaded, asked for its factory, freed.
class Library {
public:
    Library() : m_module(LoadLibraryA(QSN_TEST_DLL)) {
        if (!m_module) throw std::runtime_error("the DLL cannot be loaded: " + std::to_string(GetLastError()));
    }
    ~Library() { FreeLibrary(m_module); }
    Library(const Library&) = delete;
    Library& operator=(const Library&) = delete;

    CreateQSNFunc Factory(const char* name = "CreateQSN") const {
        return reinterpret_cast<CreateQSNFunc>(reinterpret_cast<void*>(GetProcAddress(m_module, name)));
    }

private:
    HMODULE m_module;
};

struct ObjectReleaser {
    void operator()(IUnknown* object) const { object->Release(); }
};
using LibraryObject = std::unique_ptr<IPVSubscription2, ObjectReleaser>;

inline LibraryObject Create(const Library& library) {
    void* object = nullptr;
    if (library.Factory()(&object) != S_OK) throw std::runtime_error("CreateQSN failed");
    return LibraryObject(static_cast<IPVSubscription2*>(object));
}

inline HRESULT SetNumber(IPVSubscription2& qsn, int32_t item, uint32_t value = 1) {
    return qsn.Config(item, &value, nullptr);
}
// Null clears.
inline HRESULT SetToken(IPVSubscription2& qsn, int32_t item, const char* token) {
    std::string copy = token ? token : "";
    auto length = static_cast<uint32_t>(copy.size());
    return qsn.Config(item, token ? copy.data() : nullptr, &length);
}
inline std::string GetToken(IPVSubscription2& qsn, int32_t item) {
    char buffer[2048] = {};
    uint32_t length = sizeof(buffer);
    return qsn.Config(item, buffer, &length) == S_OK ? std::string(buffer, length) : "(unreadable)";
}
// If only the result matters.
inline HRESULT GetSignInUrl(IPVSubscription2& qsn) {
    char url[256];
    uint32_t length = 0;
    return qsn.GetSignInURL(url, sizeof(url), &length);
}

}  // namespace qsn::test
