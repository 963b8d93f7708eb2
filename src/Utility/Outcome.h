#pragma once

#include <windows.h>

namespace qsn {

// A result code and the value that came with it. If the code is a failure, each function says what the value is.
template <class Value>
struct Outcome {
    HRESULT result = S_OK;
    Value value{};
};

}  // namespace qsn
