#include "Utility/ComApartment.h"

#include <objbase.h>

#include "Utility/Trace.h"
#include "Utility/Win32Owners.h"

namespace qsn {
namespace {

// Uses COM only if the process has loaded it, so that a body that does not need COM does not load it.
class MultithreadedApartment {
public:
    MultithreadedApartment() noexcept : m_ole32(GetModuleHandleW(L"ole32.dll")) {
        if (!m_ole32) TraceA("couldn't locate ole32.dll");
        if (!Enter()) TraceA("CoInitializeEx failed.");
    }
    MultithreadedApartment(const MultithreadedApartment&) = delete;
    MultithreadedApartment& operator=(const MultithreadedApartment&) = delete;
    ~MultithreadedApartment() {
        if (m_entered) Leave();
    }

private:
    bool Enter() noexcept {
        const auto initialise = Find<decltype(CoInitializeEx)>("CoInitializeEx");
        m_entered = initialise && SUCCEEDED(initialise(nullptr, COINIT_MULTITHREADED | COINIT_DISABLE_OLE1DDE));
        return m_entered;
    }
    void Leave() noexcept {
        if (const auto uninitialise = Find<decltype(CoUninitialize)>("CoUninitialize")) uninitialise();
    }
    template <class Function>
    Function* Find(const char* name) const noexcept {
        return m_ole32 ? FindFunction<Function>(m_ole32, name) : nullptr;
    }

    HMODULE m_ole32;
    bool m_entered = false;
};

}  // namespace

DWORD RunInComApartment(ThreadBody* body) {
    const MultithreadedApartment apartment;
    return body ? body->ThreadProc() : static_cast<DWORD>(E_POINTER);
}

}  // namespace qsn
