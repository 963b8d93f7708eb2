/* The DLL and its objects, owned. Part of <qsn/client.hpp>. */
#ifndef QSN_CLIENT_LIBRARY_HPP
#define QSN_CLIENT_LIBRARY_HPP

#include <qsn/qsn.h>
#include <qsn/client/errors.hpp>
#include <qsn/client/result.hpp>

#include <memory>
#include <string>
#include <type_traits>
#include <utility>

namespace qsn {

/* One reference to a COM object, released at the end. Null if it owns none. */
template <class T>
class ComPtr {
public:
    ComPtr() noexcept = default;
    /* Takes over a reference that the caller owns. */
    explicit ComPtr(T* owned) noexcept : m_object(owned) {}
    ComPtr(const ComPtr& other) noexcept : m_object(other.m_object) {
        if (m_object) m_object->AddRef();
    }
    ComPtr(ComPtr&& other) noexcept : m_object(std::exchange(other.m_object, nullptr)) {}
    ComPtr& operator=(ComPtr other) noexcept {
        std::swap(m_object, other.m_object);
        return *this;
    }
    ~ComPtr() {
        if (m_object) m_object->Release();
    }

    T* Get() const noexcept { return m_object; }
    T* operator->() const noexcept { return m_object; }
    T& operator*() const noexcept { return *m_object; }
    explicit operator bool() const noexcept { return m_object != nullptr; }

private:
    T* m_object = nullptr;
};

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
    static Library Linked() noexcept { return Library(nullptr, &CreateQSN); }

    /* A new library object, not yet initialised. The caller owns its reference. Errors: E_FAIL. */
    Result<ComPtr<IPVSubscription2>> Create() const {
        void* object = nullptr;
        const HRESULT hr = m_create(&object);
        if (FAILED(hr)) return ErrorOf(hr);
        return ComPtr<IPVSubscription2>(static_cast<IPVSubscription2*>(object));
    }

private:
    Library(std::shared_ptr<void> module, CreateQSNFunc create) noexcept
        : m_module(std::move(module)), m_create(create) {}

    static std::error_code LastError() { return {static_cast<int>(GetLastError()), std::system_category()}; }

    std::shared_ptr<void> m_module;
    CreateQSNFunc m_create;
};

}  // namespace qsn

#endif /* QSN_CLIENT_LIBRARY_HPP */
