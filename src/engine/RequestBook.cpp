#include "engine/RequestBook.h"

#include <algorithm>
#include <cstring>
#include <mutex>
#include <utility>

#include "Utility/Clock.h"
#include "engine/RequestOutcome.h"

namespace qsn {

bool RequestBook::Add(Request& request) {
    bool isNext = false;
    {
        const std::lock_guard lock(m_lock);
        if (m_isClosed) return false;
        m_live.push_back(AddReference(&request));
        request.m_list = &m_live;
        request.m_place = std::prev(m_live.end());
        request.m_start = Milliseconds();
        request.m_deadline = m_deadlines.end();
        if (request.m_terms.timeLimit != 0) {
            request.m_deadline = m_deadlines.emplace(request.m_start + request.m_terms.timeLimit, &request);
            isNext = request.m_deadline == m_deadlines.begin();
        }
    }
    if (isNext) m_interruption.Wake();  // it waits too long by now
    m_log->Write({.event = QSN_LOG_REQUEST_QUEUED, .request = request.m_terms.number, .action = request.m_terms.kind});
    return true;
}

void RequestBook::Withdraw(Request& request) noexcept {
    const UniqueCom<Request> self = AddReference(&request);
    const std::lock_guard lock(m_lock);
    if (request.m_stage != Request::Stage::kTold) UnlinkLocked(request);
}

bool RequestBook::AskToEnd(Request& request, HRESULT ending) noexcept {
    bool isFirst = false;
    {
        const std::lock_guard lock(m_lock);
        isFirst = m_due.empty();
        if (!AskToEndLocked(request, ending)) return false;
        isFirst = isFirst && !m_due.empty();
    }
    if (isFirst) Wake();
    return true;
}

bool RequestBook::AskToEndLocked(Request& request, HRESULT ending) noexcept {
    if (request.m_stage == Request::Stage::kTold || FAILED(request.m_ending)) return false;
    request.m_ending = ending;
    if (request.m_stage == Request::Stage::kRunning) {
        m_interruption.BreakOffRequest();  // under the lock, for afterwards another one may run
    } else {
        m_due.splice(m_due.end(), m_live, request.m_place);
        request.m_list = &m_due;
    }
    return true;
}

HRESULT RequestBook::CopyOutcome(const Request& request, QSN_OUTCOME* outcome) noexcept {
    if (!outcome) return E_POINTER;
    const std::uint32_t size = outcome->size;
    if (size < sizeof(size)) return E_INVALIDARG;
    const std::lock_guard lock(m_lock);
    if (request.m_stage != Request::Stage::kTold) return E_PENDING;
    const std::size_t known = std::min<std::size_t>(size, sizeof(QSN_OUTCOME));
    std::memcpy(outcome, &request.m_outcome, known);
    outcome->size = static_cast<std::uint32_t>(known);
    return S_OK;
}

bool RequestBook::Begin(Request& request) noexcept {
    {
        const std::lock_guard lock(m_lock);
        if (request.m_stage != Request::Stage::kQueued || FAILED(request.m_ending)) return false;
        request.m_stage = Request::Stage::kRunning;
        request.m_begun = Milliseconds();
        m_running = &request;
    }
    m_log->Write({QSN_LOG_REQUEST_BEGUN, QSN_LOG_DETAIL, request.m_terms.number, request.m_terms.kind});
    return true;
}

void RequestBook::Complete(Request& request, int callbackResult, const ExchangeReport& report, void* data) noexcept {
    const UniqueCom<Request> self = AddReference(&request);
    {
        const std::lock_guard lock(m_lock);
        if (request.m_stage == Request::Stage::kTold) return;
        QSN_OUTCOME& outcome = request.m_outcome;
        outcome = OutcomeOf(callbackResult, report);
        if (outcome.result == E_ABORT) {
            outcome = OutcomeOfEnding(FAILED(request.m_ending) ? request.m_ending : QSN_REQUEST_E_CANCELLED);
            outcome.wireTime = static_cast<std::uint32_t>(report.wireTime);
        }
        const std::uint64_t begun = request.m_begun != 0 ? request.m_begun : Milliseconds();
        outcome.queuedTime = static_cast<std::uint32_t>(begun - request.m_start);
        UnlinkLocked(request);
    }
    const QSN_OUTCOME outcome = request.m_outcome;
    m_log->Write({QSN_LOG_REQUEST_COMPLETED, FAILED(outcome.result) ? QSN_LOG_ERROR : QSN_LOG_INFO,
                  request.m_terms.number, request.m_terms.kind, &outcome});
    const UniqueCom<IQSNCompletion> completion = std::move(request.m_completion);
    if (completion) completion->Completed(&request, &outcome, data);
}

void RequestBook::UnlinkLocked(Request& request) noexcept {
    request.m_stage = Request::Stage::kTold;
    if (m_running == &request) {
        m_running = nullptr;
        m_interruption.BeginRequest();  // what broke this one off is none of the next one's
    }
    if (request.m_deadline != m_deadlines.end()) m_deadlines.erase(request.m_deadline);
    request.m_list->erase(request.m_place);
}

DWORD RequestBook::Tend() noexcept {
    while (const UniqueCom<Request> request = TakeDue()) CompleteUnrun(*request);
    const std::lock_guard lock(m_lock);
    if (m_deadlines.empty()) return INFINITE;
    const std::uint64_t now = Milliseconds();
    const std::uint64_t next = std::max(m_deadlines.begin()->first, now) - now;
    return static_cast<DWORD>(std::min<std::uint64_t>(next, INFINITE - 1));
}

UniqueCom<Request> RequestBook::TakeDue() noexcept {
    const std::lock_guard lock(m_lock);
    if (!m_deadlines.empty()) ExpireLocked(Milliseconds());
    return m_due.empty() ? nullptr : AddReference(m_due.front().get());
}

void RequestBook::ExpireLocked(std::uint64_t now) noexcept {
    while (!m_deadlines.empty() && m_deadlines.begin()->first <= now) {
        Request& request = *m_deadlines.begin()->second;
        m_deadlines.erase(request.m_deadline);
        request.m_deadline = m_deadlines.end();
        AskToEndLocked(request, QSN_REQUEST_E_OUT_OF_TIME);
    }
}

void RequestBook::CompleteUnrun(Request& request) noexcept {
    Complete(request, QSN_CALLBACK_NETWORK_OR_UNKNOWN, {.result = E_ABORT}, nullptr);
}

void RequestBook::Close() noexcept {
    {
        const std::lock_guard lock(m_lock);
        m_isClosed = true;
    }
    for (;;) {
        UniqueCom<Request> next;
        {
            const std::lock_guard lock(m_lock);
            const Request::List& list = m_due.empty() ? m_live : m_due;
            if (list.empty()) return;
            next = AddReference(list.front().get());
        }
        CompleteUnrun(*next);
    }
}

void RequestBook::LogExchange(const ExchangeReport& report) noexcept {
    std::uint32_t number = 0;
    {
        const std::lock_guard lock(m_lock);
        if (m_running) number = m_running->m_terms.number;
    }
    const bool isWhole = SUCCEEDED(report.result);
    const QSN_OUTCOME outcome = OutcomeOf(isWhole ? QSN_CALLBACK_OK : QSN_CALLBACK_NETWORK_OR_UNKNOWN, report);
    m_log->Write({QSN_LOG_EXCHANGE, isWhole ? QSN_LOG_DETAIL : QSN_LOG_ERROR, number, 0, &outcome});
}

void RequestBook::Wake() noexcept {
    m_interruption.Wake();
    if (m_wake) m_wake();
}

}  // namespace qsn
