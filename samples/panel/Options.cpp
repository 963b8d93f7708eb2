#include "Options.h"

#include <windows.h>

#include <shellapi.h>

#include <qsn/client.hpp>

#include <memory>

namespace sample {

Options ReadOptions() {
    struct LocalDeleter {
        void operator()(wchar_t** memory) const { LocalFree(memory); }
    };
    Options options;
    int count = 0;
    const std::unique_ptr<wchar_t*, LocalDeleter> arguments(CommandLineToArgvW(GetCommandLineW(), &count));
    for (int i = 1; arguments && i < count; ++i) {
        const std::wstring name = arguments.get()[i];
        const bool hasValue = i + 1 < count;
        if (name == L"--no-browser") {
            options.noBrowser = true;
        } else if (name == L"--sid" && hasValue) {
            options.sid = arguments.get()[++i];
        } else if (name == L"--token" && hasValue) {
            options.token = qsn::ToUtf8(arguments.get()[++i]);
        } else {
            options.understood = false;
        }
    }
    return options;
}

}  // namespace sample
