#pragma once

#include <windows.h>

#include <oleauto.h>

#include <memory>

namespace qsn {

struct BstrDeleter {
    void operator()(OLECHAR* text) const noexcept { SysFreeString(text); }
};
using UniqueBstr = std::unique_ptr<OLECHAR, BstrDeleter>;

// For functions that hand out a text through a pointer.
class BstrOut {
public:
    explicit BstrOut(UniqueBstr& owner) noexcept : m_owner(owner) {}
    BstrOut(const BstrOut&) = delete;
    BstrOut& operator=(const BstrOut&) = delete;
    ~BstrOut() { m_owner.reset(m_text); }

    // Implicit, because they stand where an argument's conversion is wanted.
    // NOLINTNEXTLINE(google-explicit-constructor)
    operator BSTR*() noexcept { return &m_text; }
    // NOLINTNEXTLINE(google-explicit-constructor)
    operator void*() noexcept { return &m_text; }

private:
    UniqueBstr& m_owner;
    BSTR m_text = nullptr;
};

class UniqueVariant {
public:
    UniqueVariant() noexcept { VariantInit(&m_value); }
    UniqueVariant(const UniqueVariant&) = delete;
    UniqueVariant& operator=(const UniqueVariant&) = delete;
    ~UniqueVariant() { VariantClear(&m_value); }

    const VARIANT& Get() const noexcept { return m_value; }
    VARIANT* Receive() noexcept {
        VariantClear(&m_value);
        return &m_value;
    }

private:
    VARIANT m_value;
};

}  // namespace qsn
