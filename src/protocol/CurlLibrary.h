#pragma once

namespace qsn {

// One use of libcurl and Winsock. The first in the process starts them and the last one ends them, so that nothing is
// left when the host frees the DLL. Starting takes tens of milliseconds, too long for `Init`.
class CurlLibrary {
public:
    CurlLibrary() noexcept;
    CurlLibrary(const CurlLibrary&) = delete;
    CurlLibrary& operator=(const CurlLibrary&) = delete;
    ~CurlLibrary();

    // False: there was no memory, or no Winsock.
    bool IsStarted() const noexcept { return m_started; }

private:
    bool m_started;
};

}  // namespace qsn
