// What the library costs, beside the cost of the same thing without it.
//
//   qsn_bench [--quick] [--folder FOLDER] [FILTER]

#include <cstdio>
#include <cstring>
#include <exception>
#include <string>

#include "Children.h"
#include "Sections.h"

namespace {

using namespace qsn::bench;

void AddAll() {
    AddTaskRows();
    AddHandleRows();
    AddRequestRows();
    AddReplyRows();
    AddAuthenticationRows();
    AddCipherRows();
    AddStoreRows();
    AddLifecycleRows();
    AddTraceRows();
    AddDllRows();
    AddIdleRows();
}

int Main(int count, char** arguments) {
    std::setvbuf(stdout, nullptr, _IONBF, 0);
    AddAll();
    Options options;
    for (int i = 1; i < count; ++i) {
        const std::string argument = arguments[i];
        const bool hasValue = i + 1 < count;
        if (argument == "--child" && hasValue) return RunAsChild(arguments[i + 1]) ? 0 : 2;
        if (argument == "--quick") {
            options.quick = true;
        } else if (argument == "--folder" && hasValue) {
            options.folder = arguments[++i];
        } else {
            options.filter = argument;
        }
    }
    Run(options);
    return 0;
}

}  // namespace

int main(int count, char** arguments) {
    try {
        return Main(count, arguments);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "qsn_bench: %s\n", error.what());
        return 1;
    }
}
