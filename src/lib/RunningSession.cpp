#include "lib/RunningSession.h"

#include "Utility/Guard.h"

namespace qsn {
namespace {

constexpr DWORD kExchangeTimeToEnd = 1000;  // ms

}  // namespace

HRESULT RunningSession::End() {
    if (!worker) return QSN_RETURN_E_NOT_INITIALIZED;
    worker->RequestQuit();
    context->Gate().Close();
    HRESULT hr = S_OK;
    const auto endSession = [&] { hr = Guarded([&] { return context->Uninit(); }); };
    if (worker->IsCurrentThread()) {
        // Inside the host's callback: the thread ends when that has returned.
        endSession();
        worker->LeaveBehind();
    } else if (!worker->JoinFor(kExchangeTimeToEnd) && context->Gate().Abandon(endSession)) {
        worker->DropRunning();
        worker->LeaveBehind();
    } else {
        worker->Quit();  // not held up by a server, so by the host's callback at most
        endSession();
    }
    worker.reset();
    context.reset();
    return hr;
}

}  // namespace qsn
