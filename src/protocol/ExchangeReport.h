#pragma once

#include <windows.h>

#include <cstdint>
#include <optional>

#include "protocol/TransferError.h"

namespace qsn {

// How the exchanges of one request have gone: the time of all, and the rest of the last one.
struct ExchangeReport {
    HRESULT result = S_OK;
    int httpStatus = 0;                          // 0: there was no reply
    TransferError error = TransferError::kNone;  // why there was no whole reply
    std::optional<int> serverResult{};
    std::uint64_t wireTime = 0;  // ms
};

}  // namespace qsn
