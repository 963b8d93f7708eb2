/* The DLL and its objects, owned. Part of <qsn/client.hpp>. */
#pragma once

#include <qsn/qsn.h>
#include <qsn/client/errors.hpp>
#include <qsn/client/result.hpp>

#include <atomic>
#include <functional>
#include <memory>
#include <string>
#include <utility>

namespace qsn {

namespace detail {

// Releases the reference that it takes over.
template <class T>
std::shared_ptr<T> Owned(T* object) {
    return std::shared_ptr<T>(object, [](T* owned) { owned ? void(owned->Release()) : void(); });
}

// An object that the library calls and counts references to; it begins with one.
template <class Interface>
class ComObject : public Interface {
public:
    explicit ComObject(REFIID iid) noexcept : m_iid(iid) {}
    ComObject(const ComObject&) = delete;
    ComObject& operator=(const ComObject&) = delete;

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) override {
        if (!object) return E_POINTER;
        const bool known = IsEqualIID(iid, IID_IUnknown) || IsEqualIID(iid, m_iid);
        *object = known ? static_cast<Interface*>(this) : nullptr;
        if (known) AddRef();
        return known ? S_OK : E_NOINTERFACE;
    }
    ULONG STDMETHODCALLTYPE AddRef() override { return ++m_references; }
    ULONG STDMETHODCALLTYPE Release() override {
        const ULONG left = --m_references;
        if (left == 0) delete this;
        return left;
    }

protected:
    virtual ~ComObject() = default;

private:
    const IID m_iid;
    std::atomic<ULONG> m_references{1};
};

}  // namespace detail

/*
 * qsn.dll in this process. Copies share it, and the DLL is freed with the last one, so keep one for as long as anything
 * from the DLL is in use. Any thread may use a copy of its own.
 */
class Library {
public:
    /*
     * Loads the DLL. A bare file name is looked for only in the program's folder, not in the current folder or the
     * PATH, where others could put their own DLL. Anything with a folder in it is taken as it is.
     * Errors: Windows' own from LoadLibrary (std::system_category), such as 126 if the file is missing.
     */
    static Result<Library> Load(const std::wstring& path = L"qsn.dll") {
        std::wstring full = path;
        DWORD search = LOAD_LIBRARY_SEARCH_APPLICATION_DIR | LOAD_LIBRARY_SEARCH_SYSTEM32;
        if (path.find_first_of(L"\\/") != std::wstring::npos) {
            full.resize(GetFullPathNameW(path.c_str(), 0, nullptr, nullptr));
            full.resize(GetFullPathNameW(path.c_str(), static_cast<DWORD>(full.size()), &full[0], nullptr));
            search |= LOAD_LIBRARY_SEARCH_DLL_LOAD_DIR;
        }
        const HMODULE module = LoadLibraryExW(full.c_str(), nullptr, search);
        if (!module) return LastError();
        std::shared_ptr<void> owner(module, [](void* loaded) { FreeLibrary(static_cast<HMODULE>(loaded)); });
        // Through void*: GetProcAddress knows only one type of function.
        const auto create =
            reinterpret_cast<CreateQSNFunc>(reinterpret_cast<void*>(GetProcAddress(module, "CreateQSN")));
        if (!create) return LastError();
        return Library(std::move(owner), create);
    }

    /* For hosts that link to the DLL's import library. Others must not call this. */
    static Library Linked() { return From(&CreateQSN); }

    /*
     * A library of the host's own; <qsn/testing.hpp> has one for tests. `create` does what CreateQSN does, on any
     * thread. A client uses IQSNRequests of its objects, and of IPVSubscription Init, Uninit, Stop and item 1.
     */
    static Library From(std::function<HRESULT(void** object)> create) { return Library(nullptr, std::move(create)); }

    /* A new library object, not yet initialised. Errors: E_FAIL. */
    Result<std::shared_ptr<IPVSubscription2>> Create() const {
        void* object = nullptr;
        const HRESULT hr = m_create(&object);
        if (FAILED(hr)) return ErrorOf(hr);
        return detail::Owned(static_cast<IPVSubscription2*>(object));
    }

private:
    Library(std::shared_ptr<void> module, std::function<HRESULT(void**)> create) noexcept
        : m_module(std::move(module)), m_create(std::move(create)) {}

    static std::error_code LastError() { return {static_cast<int>(GetLastError()), std::system_category()}; }

    std::shared_ptr<void> m_module;
    std::function<HRESULT(void**)> m_create;
};

}  // namespace qsn
