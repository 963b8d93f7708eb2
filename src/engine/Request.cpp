#include "engine/Request.h"

#include <utility>

#include "engine/RequestBook.h"

namespace qsn {

Request::Request(std::shared_ptr<RequestBook> book, Terms terms, IQSNCompletion* completion)
    : m_book(std::move(book)), m_terms(terms), m_completion(AddReference(completion)) {}

Request::~Request() = default;

HRESULT STDMETHODCALLTYPE Request::NonDelegatingQueryInterface(REFIID iid, void** ppv) {
    if (!ppv || !IsEqualIID(iid, IID_IQSNRequest)) return CPVUnknown::NonDelegatingQueryInterface(iid, ppv);
    *ppv = static_cast<IQSNRequest*>(this);
    AddRef();
    return S_OK;
}

HRESULT STDMETHODCALLTYPE Request::Cancel() {
    return m_book->AskToEnd(*this, QSN_REQUEST_E_CANCELLED) ? S_OK : S_FALSE;
}

HRESULT STDMETHODCALLTYPE Request::GetOutcome(QSN_OUTCOME* outcome) { return m_book->CopyOutcome(*this, outcome); }

}  // namespace qsn
