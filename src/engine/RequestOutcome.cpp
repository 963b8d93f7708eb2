#include "engine/RequestOutcome.h"

#include <algorithm>
#include <array>

namespace qsn {
namespace {

constexpr int kOkStatus = 200;
constexpr int kTooManyRequests = 429;
constexpr int kFirstServerError = 500;

// A certificate, or what is no service at all, stays as it is.
constexpr std::array kPassing{TransferError::kTimeout,           TransferError::kName, TransferError::kConnect,
                              TransferError::kConnectionAborted, TransferError::kTls,  TransferError::kOffline};

bool CanRetry(const ExchangeReport& report) noexcept {
    if (report.httpStatus != 0 && report.httpStatus != kOkStatus)
        return report.httpStatus == kTooManyRequests || report.httpStatus >= kFirstServerError;
    return std::ranges::find(kPassing, report.error) != kPassing.end();
}

HRESULT ResultOf(int callbackResult, HRESULT reported) noexcept {
    if (callbackResult == QSN_CALLBACK_OK) return S_OK;
    if (callbackResult == QSN_CALLBACK_NOT_SIGNED_IN) return QSN_RETURN_E_NO_TOKEN;
    return FAILED(reported) ? reported : E_FAIL;
}

}  // namespace

QSN_OUTCOME OutcomeOf(int callbackResult, const ExchangeReport& report) noexcept {
    QSN_OUTCOME outcome{};
    outcome.size = sizeof(outcome);
    outcome.callbackResult = callbackResult;
    outcome.result = ResultOf(callbackResult, report.result);
    outcome.serverResult = report.serverResult.value_or(QSN_NO_SERVER_RESULT);
    outcome.httpStatus = static_cast<std::uint32_t>(report.httpStatus);
    outcome.systemError = static_cast<std::uint32_t>(report.error);
    outcome.wireTime = static_cast<std::uint32_t>(report.wireTime);
    outcome.canRetry = CanRetry(report) ? 1 : 0;
    return outcome;
}

QSN_OUTCOME OutcomeOfEnding(HRESULT ending) noexcept {
    QSN_OUTCOME outcome = OutcomeOf(QSN_CALLBACK_NETWORK_OR_UNKNOWN, {.result = ending});
    outcome.canRetry = ending == QSN_REQUEST_E_OUT_OF_TIME ? 1 : 0;
    return outcome;
}

}  // namespace qsn
