#pragma once

#include <unknwn.h>

namespace qsn::test {

// Slots by number: a host's compiler counts them, whatever our header says.
template <class Result = HRESULT, class... Arguments>
Result CallSlot(IUnknown* object, int slot, Arguments... arguments) {
    using Method = Result(STDMETHODCALLTYPE*)(IUnknown*, Arguments...);
    void** const table = *reinterpret_cast<void***>(object);
    return reinterpret_cast<Method>(table[slot])(object, arguments...);
}

}  // namespace qsn::test
