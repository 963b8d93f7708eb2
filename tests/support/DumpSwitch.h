#pragma once

#include "support/SharedValues.h"

namespace qsn::test {

// The user's trace switch, set to `value` and removed at the end.
class DumpSwitch {
public:
    static constexpr int kAbsent = -1;

    explicit DumpSwitch(int value) {
        SharedValues::Delete(kName);
        if (value != kAbsent) SharedValues::Write(kName, {reinterpret_cast<char*>(&value), sizeof(value)}, REG_DWORD);
    }
    DumpSwitch(const DumpSwitch&) = delete;
    DumpSwitch& operator=(const DumpSwitch&) = delete;
    ~DumpSwitch() { SharedValues::Delete(kName); }

private:
    static constexpr char kName[] = "DumpQSN";
};

}  // namespace qsn::test
