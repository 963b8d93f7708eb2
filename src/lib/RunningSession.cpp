#include "lib/RunningSession.h"

#include "Utility/Guard.h"

namespace qsn {
namespace {

constexpr DWORD kRequestTimeToEnd = 1000;  // ms

}  // namespace

HRESULT RunningSession::End() {
    if (!worker) return QSN_RETURN_E_NOT_INITIALIZED;
    worker->RequestQuit();
    // Inside the host's callback the thread ends when that has returned.
    if (worker->IsCurrentThread()) {
        worker->LeaveBehind();
        context->EndOnThread();
    } else {
        if (!worker->JoinFor(kRequestTimeToEnd)) {
            worker->DropRunning();
            context->BreakOff();
        }
        worker->Quit();  // waits for a running callback of the host at most
    }
    const HRESULT hr = Guarded([&] { return context->Uninit(); });
    worker.reset();
    context.reset();
    return hr;
}

}  // namespace qsn
