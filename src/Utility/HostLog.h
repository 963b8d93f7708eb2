#pragma once

#include <qsn/qsn.h>

#include <atomic>
#include <cstdint>

#include "Utility/ComOwners.h"
#include "Utility/Win32Owners.h"

namespace qsn {

// The host's log of one library object. Any thread.
class HostLog {
public:
    struct Line {
        QSN_LOG_EVENT event;
        QSN_LOG_LEVEL level = QSN_LOG_INFO;
        std::uint32_t request = 0;
        int action = 0;
        const QSN_OUTCOME* outcome = nullptr;
    };

    void Set(IQSNLog* log, std::uint32_t level) noexcept;
    // Nothing happens without a host that listens.
    void Write(const Line& line) noexcept;

private:
    std::atomic<std::uint32_t> m_level{0};  // 0: nobody listens
    SlimLock m_lock;                        // guards m_log; nothing of the host but AddRef is called under it
    UniqueCom<IQSNLog> m_log;
};

}  // namespace qsn
