#include "protocol/ResultCodes.h"

#include <algorithm>
#include <array>

#include "Utility/Trace.h"

namespace qsn {
namespace {

struct ServerResult {
    int result;
    HRESULT hr;
};

// The two families differ: one takes the number as it is, the other takes its decimal digits as hexadecimal ones.
constexpr std::array kServerResults{
    ServerResult{0, S_OK},
    ServerResult{1, kServerResult1},
    ServerResult{2, kServerResult2},
    ServerResult{3, kServerResult3},
    ServerResult{4, kReplyNotAuthentic},
    ServerResult{5, kReplyWithoutResult},
    ServerResult{6, kServerResult6},
    ServerResult{101, static_cast<HRESULT>(0x80420101)},
    ServerResult{102, static_cast<HRESULT>(0x80420102)},
    ServerResult{103, static_cast<HRESULT>(0x80420103)},
    ServerResult{104, static_cast<HRESULT>(0x80420104)},
    ServerResult{105, static_cast<HRESULT>(0x80420105)},
    ServerResult{106, static_cast<HRESULT>(0x80420106)},
    ServerResult{107, static_cast<HRESULT>(0x80420107)},
};

struct CallbackResult {
    HRESULT hr;
    int result;
};

// Irregular on purpose (9 before 8; nothing gives 3): hosts rely on these numbers.
constexpr std::array kCallbackResults{
    CallbackResult{S_OK, QSN_CALLBACK_OK},
    CallbackResult{kServerResult1, QSN_CALLBACK_SERVER_RESULT_1},
    CallbackResult{kServerResult2, QSN_CALLBACK_SERVER_RESULT_2},
    CallbackResult{kServerResult3, QSN_CALLBACK_SERVER_RESULT_3},
    CallbackResult{kReplyNotAuthentic, QSN_CALLBACK_REPLY_NOT_AUTHENTIC},
    CallbackResult{kReplyWithoutResult, QSN_CALLBACK_REPLY_INCOMPLETE},
    CallbackResult{kServerResult6, QSN_CALLBACK_SERVER_RESULT_6},
    CallbackResult{kRequestNotSigned, QSN_CALLBACK_REQUEST_NOT_SIGNED},
    CallbackResult{static_cast<HRESULT>(0x80420101), QSN_CALLBACK_SERVER_RESULT_101},
    CallbackResult{static_cast<HRESULT>(0x80420102), QSN_CALLBACK_SERVER_RESULT_102},
    CallbackResult{static_cast<HRESULT>(0x80420103), QSN_CALLBACK_SERVER_RESULT_103},
    CallbackResult{static_cast<HRESULT>(0x80420104), QSN_CALLBACK_SERVER_RESULT_104},
    CallbackResult{static_cast<HRESULT>(0x80420105), QSN_CALLBACK_SERVER_RESULT_105},
    CallbackResult{static_cast<HRESULT>(0x80420106), QSN_CALLBACK_SERVER_RESULT_106},
    CallbackResult{static_cast<HRESULT>(0x80420107), QSN_CALLBACK_SERVER_RESULT_107},
};

constexpr std::array kSessionEnds{
    static_cast<int>(QSN_CALLBACK_SERVER_RESULT_1),
    static_cast<int>(QSN_CALLBACK_NOT_SIGNED_IN),
    static_cast<int>(QSN_CALLBACK_SERVER_RESULT_101),
    static_cast<int>(QSN_CALLBACK_SERVER_RESULT_107),
};

}  // namespace

HRESULT ServerResult2HRESULT(int result) {
    const auto row = std::ranges::find(kServerResults, result, &ServerResult::result);
    const HRESULT hr = row != kServerResults.end() ? row->hr : E_UNEXPECTED;
    TraceW(L"ServerResult2HRESULT return hr = %x\n", static_cast<unsigned>(hr));
    return hr;
}

int HRESULT2CallbackResult(HRESULT hr) {
    const auto row = std::ranges::find(kCallbackResults, hr, &CallbackResult::hr);
    return row != kCallbackResults.end() ? row->result : QSN_CALLBACK_NETWORK_OR_UNKNOWN;
}

bool EndsSession(int callbackResult) { return std::ranges::find(kSessionEnds, callbackResult) != kSessionEnds.end(); }

}  // namespace qsn
