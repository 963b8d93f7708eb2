#pragma once

#include <windows.h>

namespace qsn {

// Wipes what a container of bytes holds when the scope ends. Declare it behind the container. The container must not
// have moved its contents by growing, or the older copies stay in memory.
template <class Container>
class WipeAtEnd {
public:
    explicit WipeAtEnd(Container& container) noexcept : m_container(container) {}
    WipeAtEnd(const WipeAtEnd&) = delete;
    WipeAtEnd& operator=(const WipeAtEnd&) = delete;
    ~WipeAtEnd() { SecureZeroMemory(m_container.data(), m_container.size()); }

private:
    Container& m_container;
};

}  // namespace qsn
