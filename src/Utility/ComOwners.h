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

// For functions that hand out a reference through a pointer: `Out(owner)` as the argument replaces what `owner` holds
// when the call is over.
template <class Interface>
class ComOut {
public:
    explicit ComOut(UniqueCom<Interface>& owner) noexcept : m_owner(owner) {}
    ComOut(const ComOut&) = delete;
    ComOut& operator=(const ComOut&) = delete;
    ~ComOut() { m_owner.reset(m_object); }

    // Implicit, because they stand where an argument's conversion is wanted.
    // NOLINTNEXTLINE(google-explicit-constructor)
    operator Interface**() noexcept { return &m_object; }
    // NOLINTNEXTLINE(google-explicit-constructor)
    operator void**() noexcept { return reinterpret_cast<void**>(&m_object); }

private:
    UniqueCom<Interface>& m_owner;
    Interface* m_object = nullptr;
};

template <class Interface>
ComOut<Interface> Out(UniqueCom<Interface>& owner) noexcept {
    return ComOut<Interface>(owner);
}

}  // namespace qsn
