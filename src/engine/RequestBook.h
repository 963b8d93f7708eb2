#pragma once

#include <qsn/qsn.h>
#include <windows.h>

#include <cstdint>
#include <functional>
#include <memory>

#include "Utility/HostLog.h"
#include "Utility/Interruption.h"
#include "Utility/Win32Owners.h"
#include "engine/Request.h"
#include "protocol/ExchangeReport.h"

namespace qsn {

// The requests of one session that have not been completed. It sees to it that each is completed exactly once, on the
// worker thread, and that its time limit holds.
class RequestBook final : public Attendant {
public:
    explicit RequestBook(std::shared_ptr<HostLog> log) : m_log(std::move(log)) { m_interruption.SetAttendant(this); }

    // Once, before the worker starts: `wake` has it tend if it waits for work. Any thread calls it.
    void SetWake(std::function<void()> wake) { m_wake = std::move(wake); }
    Interruption& Waits() noexcept { return m_interruption; }
    HostLog& Log() noexcept { return *m_log; }

    // Any thread. False: the session has ended. May throw std::bad_alloc.
    bool Add(Request& request);
    // For one that could not be queued: it is never completed.
    void Withdraw(Request& request) noexcept;
    // False: it has been completed, or asked to end, before.
    bool AskToEnd(Request& request, HRESULT ending) noexcept;
    HRESULT CopyOutcome(const Request& request, QSN_OUTCOME* outcome) noexcept;

    // The worker thread. False: nobody waits for this request any more.
    bool Begin(Request& request) noexcept;
    // Nothing happens if that was done before. `data` goes to the host.
    void Complete(Request& request, int callbackResult, const ExchangeReport& report, void* data) noexcept;
    // Completes what has been asked to end.
    DWORD Tend() noexcept override;
    // Completes what is left, and takes nothing in any more.
    void Close() noexcept;
    void LogExchange(const ExchangeReport& report) noexcept;

private:
    UniqueCom<Request> TakeDue() noexcept;
    void ExpireLocked(std::uint64_t now) noexcept;
    bool AskToEndLocked(Request& request, HRESULT ending) noexcept;
    void UnlinkLocked(Request& request) noexcept;
    void CompleteUnrun(Request& request) noexcept;
    void Wake() noexcept;

    const std::shared_ptr<HostLog> m_log;
    Interruption m_interruption;
    std::function<void()> m_wake;
    SlimLock m_lock;  // guards what follows and the requests; neither the host nor a wake is called under it
    bool m_isClosed = false;
    Request* m_running = nullptr;
    Request::List m_live;
    Request::List m_due;  // asked to end while queued
    Request::Deadlines m_deadlines;
};

}  // namespace qsn
