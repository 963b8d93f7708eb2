#pragma once

#include <windows.h>

namespace qsn {

// A result code and what came along with it. What that is if the code is a failure, the function says.
template <class Value>
struct Outcome {
    HRESULT result = S_OK;
    Value value{};
};

}  // namespace qsn
