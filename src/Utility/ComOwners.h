#pragma once

#include <unknwn.h>

#include <memory>

namespace qsn {

// One reference on a COM object.
struct ComReleaser {
    void operator()(IUnknown* object) const noexcept { object->Release(); }
};
template <class Interface>
using UniqueCom = std::unique_ptr<Interface, ComReleaser>;

// A further reference on `object`; null stays null.
template <class Interface>
UniqueCom<Interface> AddReference(Interface* object) noexcept {
    if (object) object->AddRef();
    return UniqueCom<Interface>(object);
}

// For functions that hand out a new object through a pointer. `Out(owner)` as the argument replaces what `owner` holds
// when the call is over.
template <class Owner>
class OutPointer {
public:
    explicit OutPointer(Owner& owner) noexcept : m_owner(owner) {}
    OutPointer(const OutPointer&) = delete;
    OutPointer& operator=(const OutPointer&) = delete;
    ~OutPointer() { m_owner.reset(m_object); }

    // Implicit, because they stand for an argument's conversion.
    // NOLINTNEXTLINE(google-explicit-constructor)
    operator typename Owner::pointer *() noexcept { return &m_object; }
    // NOLINTNEXTLINE(google-explicit-constructor)
    operator void**() noexcept { return reinterpret_cast<void**>(&m_object); }

private:
    Owner& m_owner;
    typename Owner::pointer m_object = nullptr;
};

template <class Owner>
OutPointer<Owner> Out(Owner& owner) noexcept {
    return OutPointer<Owner>(owner);
}

}  // namespace qsn
