#include "ProgramOptions.h"

#include <algorithm>
#include <array>
#include <string_view>

namespace qsn::service {
namespace {

struct Switch {
    std::wstring_view name;
    bool ProgramOptions::*target;
};

struct PathOption {
    std::wstring_view name;
    std::filesystem::path ProgramOptions::*target;
};

constexpr std::array kSwitches{Switch{L"--configure-user", &ProgramOptions::configureUser},
                               Switch{L"--exit-with-stdin", &ProgramOptions::exitWithStdin},
                               Switch{L"--quiet", &ProgramOptions::quiet}, Switch{L"--help", &ProgramOptions::help}};

constexpr std::array kPathOptions{PathOption{L"--accounts", &ProgramOptions::accounts},
                                  PathOption{L"--keys", &ProgramOptions::keys},
                                  PathOption{L"--state", &ProgramOptions::state}};

std::string Narrow(std::wstring_view text) { return std::filesystem::path(text).string(); }

std::uint16_t ParsePort(const std::wstring& text) {
    const bool digits = !text.empty() && text.size() <= 5 &&
                        std::all_of(text.begin(), text.end(), [](wchar_t c) { return c >= L'0' && c <= L'9'; });
    const unsigned long port = digits ? std::stoul(text) : 65536;
    if (port > 65535) throw UsageError("--port needs a number from 0 to 65535");
    return static_cast<std::uint16_t>(port);
}

template <typename Table>
auto* Find(const Table& table, const std::wstring& name) {
    const auto found = std::find_if(table.begin(), table.end(), [&](const auto& row) { return row.name == name; });
    return found == table.end() ? nullptr : &*found;
}

}  // namespace

const char kUsage[] =
    "usage: qsn-service --accounts FILE --keys DIR [options]\n"
    "\n"
    "  --accounts FILE    the accounts, see service/README.md\n"
    "  --keys DIR         holds request_private.pem and reply_public.pem\n"
    "  --port N           of 127.0.0.1; 0, the default, takes any free one\n"
    "  --state DIR        writes the development authority to ca.der and ca.pem there\n"
    "  --configure-user   until the program ends, the current user's proxy setting names this service and the\n"
    "                     user's trusted roots hold its authority; for a test account or a Wine prefix of its own\n"
    "  --exit-with-stdin  ends when standard input closes, as with Ctrl+C\n"
    "  --quiet            no line for each request\n"
    "  --help             this text\n";

ProgramOptions ParseOptions(std::span<const std::wstring> arguments) {
    ProgramOptions options;
    for (std::size_t i = 0; i < arguments.size(); ++i) {
        const std::wstring& name = arguments[i];
        if (const Switch* found = Find(kSwitches, name)) {
            options.*found->target = true;
            continue;
        }
        const PathOption* path = Find(kPathOptions, name);
        if (!path && name != L"--port") throw UsageError("unknown option " + Narrow(name));
        if (++i == arguments.size()) throw UsageError(Narrow(name) + " needs a value");
        if (path) {
            options.*path->target = arguments[i];
        } else {
            options.port = ParsePort(arguments[i]);
        }
    }
    if (!options.help && options.accounts.empty()) throw UsageError("--accounts is missing");
    if (!options.help && options.keys.empty()) throw UsageError("--keys is missing");
    return options;
}

}  // namespace qsn::service
