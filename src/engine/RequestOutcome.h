#pragma once

#include <qsn/qsn.h>
#include <windows.h>

#include "protocol/ExchangeReport.h"

namespace qsn {

// How a request ended that was carried out. `callbackResult`: a QSN_CALLBACK_RESULT.
QSN_OUTCOME OutcomeOf(int callbackResult, const ExchangeReport& report) noexcept;

// How a request ended that was not carried out to its end: one of the QSN_REQUEST_E_ codes.
QSN_OUTCOME OutcomeOfEnding(HRESULT ending) noexcept;

}  // namespace qsn
