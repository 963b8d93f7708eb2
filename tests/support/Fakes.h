#pragma once

#include <windows.h>

#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <string>

namespace qsn::test {

// A reference on one of the stand-in DLLs, which keeps its state while the library loads and frees it.
class FakeModule {
public:
    explicit FakeModule(const std::wstring& path) : m_module(LoadLibraryW(path.c_str())) {
        if (!m_module) throw std::runtime_error("a stand-in DLL is missing");
    }
    FakeModule(const FakeModule&) = delete;
    FakeModule& operator=(const FakeModule&) = delete;
    ~FakeModule() { FreeLibrary(m_module); }

    template <class Function>
    Function* Find(const char* name) const {
        const FARPROC function = GetProcAddress(m_module, name);
        if (!function) throw std::runtime_error(std::string("not the stand-in DLL: no ") + name);
        return reinterpret_cast<Function*>(reinterpret_cast<void*>(function));
    }
    std::wstring Path() const {
        wchar_t path[MAX_PATH] = {};
        GetModuleFileNameW(m_module, path, MAX_PATH);
        return path;
    }

private:
    HMODULE m_module;
};

// What the usage log was told, one line for each call: "Init <guid> <parameters>", "Log QSN1.0 <message>", "Uninit 0".
class FakeOrb {
public:
    explicit FakeOrb(const std::wstring& path = L"Orb.dll") : m_module(path) { Reset(); }
    ~FakeOrb() { Reset(); }

    std::wstring Record() const {
        const auto record = m_module.Find<std::size_t WINAPI(wchar_t*, std::size_t)>("FakeRecord");
        std::wstring text;
        // Tried again if a call was recorded in between.
        for (std::size_t length = record(nullptr, 0); text.size() < length; length = record(text.data(), length + 1))
            text.resize(length);
        return text;
    }
    // Forgets the record.
    void Reset() { m_module.Find<void WINAPI()>("FakeReset")(); }
    std::wstring Path() const { return m_module.Path(); }

private:
    FakeModule m_module;
};

// Switches the network of the platform's probe, and on again at the end.
class FakeNetwork {
public:
    ~FakeNetwork() { SetAlive(true); }

    void SetAlive(bool alive) { m_module.Find<void WINAPI(BOOL)>("FakeSetNetworkAlive")(alive); }
    std::wstring Path() const { return m_module.Path(); }

private:
    FakeModule m_module{L"Sensapi.dll"};
};

}  // namespace qsn::test
