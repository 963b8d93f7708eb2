#include "Utility/HostLog.h"

#include <windows.h>

#include <mutex>
#include <utility>

namespace qsn {
namespace {

std::uint64_t Now() noexcept {
    FILETIME time;
    GetSystemTimeAsFileTime(&time);
    return std::uint64_t{time.dwHighDateTime} << 32 | time.dwLowDateTime;
}

}  // namespace

void HostLog::Set(IQSNLog* log, std::uint32_t level) noexcept {
    UniqueCom<IQSNLog> old = AddReference(log);
    const std::lock_guard lock(m_lock);
    std::swap(m_log, old);
    m_level = log ? level : 0;
}

void HostLog::Write(const Line& line) noexcept {
    if (line.level > m_level) return;
    UniqueCom<IQSNLog> log;
    {
        const std::lock_guard lock(m_lock);
        log = AddReference(m_log.get());
    }
    if (!log) return;
    QSN_LOG_RECORD record{};
    record.size = sizeof(record);
    record.level = static_cast<std::uint32_t>(line.level);
    record.time = Now();
    record.thread = GetCurrentThreadId();
    record.event = static_cast<std::uint32_t>(line.event);
    record.request = line.request;
    record.action = line.action;
    if (line.outcome) record.outcome = *line.outcome;
    log->Write(&record);
}

}  // namespace qsn
