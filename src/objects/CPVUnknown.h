#pragma once

#include <unknwn.h>

#include <cstdint>

namespace qsn {

// The three operations of IUnknown under other names, in the same slots, so that a pointer to one can pass for the
// other.
class INonDelegatingUnknown {
public:
    virtual HRESULT STDMETHODCALLTYPE NonDelegatingQueryInterface(REFIID iid, void** ppv) = 0;
    virtual ULONG STDMETHODCALLTYPE NonDelegatingAddRef() = 0;
    virtual ULONG STDMETHODCALLTYPE NonDelegatingRelease() = 0;

protected:
    ~INonDelegatingUnknown() = default;
};

// Reference counting of every object that a host gets. The count starts at 1. No object is ever aggregated, so the
// outer unknown is the object's own.
class CPVUnknown : public INonDelegatingUnknown {
public:
    CPVUnknown(const CPVUnknown&) = delete;
    CPVUnknown& operator=(const CPVUnknown&) = delete;

    HRESULT STDMETHODCALLTYPE NonDelegatingQueryInterface(REFIID iid, void** ppv) override;
    ULONG STDMETHODCALLTYPE NonDelegatingAddRef() override;
    ULONG STDMETHODCALLTYPE NonDelegatingRelease() override;
    virtual ~CPVUnknown() = default;

protected:
    CPVUnknown() noexcept : m_pOuter(reinterpret_cast<IUnknown*>(static_cast<INonDelegatingUnknown*>(this))) {}

    IUnknown* Outer() const noexcept { return m_pOuter; }

private:
    IUnknown* m_pOuter;
    volatile LONG m_nReferences = 1;
};

// For a class that derives from a COM interface and from CPVUnknown.
#define QSN_DELEGATE_IUNKNOWN                                                   \
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** ppv) override { \
        return Outer()->QueryInterface(iid, ppv);                               \
    }                                                                           \
    ULONG STDMETHODCALLTYPE AddRef() override { return Outer()->AddRef(); }     \
    ULONG STDMETHODCALLTYPE Release() override { return Outer()->Release(); }

}  // namespace qsn
