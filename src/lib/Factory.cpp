#include <qsn/qsn.h>

#include "Utility/Guard.h"
#include "lib/PVQSNLib.h"

// Exported under a second name, "CreateQSN2", as well (qsn.def).
HRESULT STDAPICALLTYPE CreateQSN(void** ppObject) {
    if (!ppObject) return E_INVALIDARG;
    return SUCCEEDED(qsn::Guarded([&] {
        *ppObject = static_cast<IPVSubscription2*>(new qsn::PVQSNLib);
        return S_OK;
    }))
               ? S_OK
               : E_FAIL;
}
