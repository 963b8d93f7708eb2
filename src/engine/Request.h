#pragma once

#include <qsn/qsn.h>
#include <windows.h>

#include <cstdint>
#include <list>
#include <map>
#include <memory>

#include "Utility/ComOwners.h"
#include "objects/CPVUnknown.h"

namespace qsn {

class RequestBook;

// A request of the host's from `Start` to its completion. What changes about it is the book's, under the book's lock.
class Request final : public IQSNRequest, public CPVUnknown {
public:
    struct Terms {
        std::uint32_t number;
        int kind;                 // a QSN_REQUEST_KIND
        std::uint32_t timeLimit;  // ms; 0: none
    };

    // `completion` may be null.
    Request(std::shared_ptr<RequestBook> book, Terms terms, IQSNCompletion* completion);
    ~Request() override;

    QSN_DELEGATE_IUNKNOWN
    HRESULT STDMETHODCALLTYPE NonDelegatingQueryInterface(REFIID iid, void** ppv) override;

    HRESULT STDMETHODCALLTYPE Cancel() override;
    HRESULT STDMETHODCALLTYPE GetOutcome(QSN_OUTCOME* outcome) override;
    uint32_t STDMETHODCALLTYPE GetNumber() override { return m_terms.number; }

private:
    friend class RequestBook;

    enum class Stage { kQueued, kRunning, kTold };
    using List = std::list<UniqueCom<Request>>;
    using Deadlines = std::multimap<std::uint64_t, Request*>;

    const std::shared_ptr<RequestBook> m_book;
    const Terms m_terms;
    UniqueCom<IQSNCompletion> m_completion;  // until it has been called
    Stage m_stage = Stage::kQueued;
    HRESULT m_ending = S_OK;    // a failure: it has been asked to end, and why
    std::uint64_t m_start = 0;  // ms
    std::uint64_t m_begun = 0;  // 0: not yet
    List* m_list = nullptr;     // the book's that it stands in, at m_place
    List::iterator m_place;
    Deadlines::iterator m_deadline;  // if there is a time limit
    QSN_OUTCOME m_outcome{};
};

}  // namespace qsn
