#pragma once

namespace qsn::test {

// A handle that is given back with `close`.
template <class Handle, auto close>
class Owned {
public:
    explicit Owned(Handle handle) : m_handle(handle) {}
    ~Owned() {
        if (m_handle) close(m_handle);
    }
    Owned(const Owned&) = delete;
    Owned& operator=(const Owned&) = delete;

    Handle Get() const { return m_handle; }
    explicit operator bool() const { return m_handle != nullptr; }

private:
    Handle m_handle;
};

}  // namespace qsn::test
