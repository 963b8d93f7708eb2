#pragma once

namespace qsn::soak {

struct HostOptions {
    int index = 0;
    unsigned seed = 0;
    unsigned seconds = 600;
};

// One application of the suite. It does everything that a host may do, at random, for as long as the options say, and
// prints what it has seen. Returns the program's exit code: 0, or 1 after growth or a broken promise. If something
// hangs, it ends the process at once.
int RunHost(const HostOptions& options);

}  // namespace qsn::soak
