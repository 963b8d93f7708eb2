#pragma once

namespace qsn::soak {

struct HostOptions {
    int index = 0;
    unsigned seed = 0;
    unsigned seconds = 600;
};

// One application of the suite: everything that a host may do, at random, for as long as the options say. Prints what
// it has seen. The program's exit code: 0, or 1 after growth or a broken promise; it ends the process at once if
// something hangs.
int RunHost(const HostOptions& options);

}  // namespace qsn::soak
