/* The DLL and its objects, owned. Part of <qsn/client.hpp>. */
#pragma once

#include <qsn/qsn.h>
#include <qsn/client/errors.hpp>
#include <qsn/client/result.hpp>

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
    static Library Linked() noexcept { return From(&CreateQSN); }

    /*
     * A library of the host's own, such as one that plays the service in its tests. A client uses IQSNRequests of the
     * objects that `create` makes, and of IPVSubscription Init, Uninit, Stop and item 1.
     */
    static Library From(CreateQSNFunc create) noexcept { return Library(nullptr, create); }

    /* A new library object, not yet initialised. Errors: E_FAIL. */
    Result<std::shared_ptr<IPVSubscription2>> Create() const {
        void* object = nullptr;
        const HRESULT hr = m_create(&object);
        if (FAILED(hr)) return ErrorOf(hr);
        return detail::Owned(static_cast<IPVSubscription2*>(object));
    }

private:
    Library(std::shared_ptr<void> module, CreateQSNFunc create) noexcept
        : m_module(std::move(module)), m_create(create) {}

    static std::error_code LastError() { return {static_cast<int>(GetLastError()), std::system_category()}; }

    std::shared_ptr<void> m_module;
    CreateQSNFunc m_create;
};

}  // namespace qsn
