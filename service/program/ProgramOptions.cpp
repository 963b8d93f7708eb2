#include "service/program/ProgramOptions.h"

#include <algorithm>
#include <array>
#include <limits>
#include <string_view>

#include "service/text/Text.h"

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

constexpr std::array<std::wstring_view, 3> kTextOptions{L"--port", L"--member-token-for", L"--expires-in"};

std::string Narrow(std::wstring_view text) { return std::filesystem::path(text).string(); }

template <typename Table>
auto* Find(const Table& table, const std::wstring& name) {
    const auto found = std::find_if(table.begin(), table.end(), [&](const auto& row) { return row.name == name; });
    return found == table.end() ? nullptr : &*found;
}

template <typename Number>
Number ParseNumber(const std::wstring& option, const std::wstring& text) {
    if (const auto number = NumberIn<Number>(Narrow(text))) return *number;
    throw UsageError(Narrow(option) + " needs a number from " + std::to_string(std::numeric_limits<Number>::min()) +
                     " to " + std::to_string(std::numeric_limits<Number>::max()));
}

void SetValue(ProgramOptions& options, const std::wstring& name, const std::wstring& value) {
    if (name == L"--port") {
        options.port = ParseNumber<std::uint16_t>(name, value);
    } else if (name == L"--member-token-for") {
        options.memberTokenFor = Narrow(value);
    } else if (name == L"--expires-in") {
        options.expiresIn = ParseNumber<int>(name, value);
    } else if (const PathOption* path = Find(kPathOptions, name)) {
        options.*path->target = value;
    }
}

void RequireAll(const ProgramOptions& options) {
    if (options.accounts.empty()) throw UsageError("--accounts is missing");
    const bool serves = options.memberTokenFor.empty();
    if (serves && options.keys.empty()) throw UsageError("--keys is missing");
    if (serves && options.expiresIn) throw UsageError("--expires-in belongs to --member-token-for");
}

}  // namespace

const char kUsage[] =
    R"(The account service for the desk of a host's developer, on one port of 127.0.0.1.

usage: qsn-account-service --accounts FILE --keys DIR [options]
       qsn-account-service --accounts FILE --member-token-for USERID [--expires-in SECONDS]

  --accounts FILE    the accounts, see service/README.md
  --keys DIR         holds request_private.pem and reply_public.pem, the counterparts of the keys in qsn.dll, and
                     member_private.pem if you like
  --port N           of 127.0.0.1; 0, the default, takes any free one
  --state DIR        writes the development authority to ca.der and ca.pem there
  --configure-user   until the program ends, the current user's proxy setting names this service and the
                     user's trusted roots hold its authority; for a test account or a Wine prefix of its own
  --exit-with-stdin  ends when standard input closes, as with Ctrl+C
  --quiet            no line for each request
  --help             this text

A host reaches it as its HTTPS proxy. In a browser, http://127.0.0.1:PORT/ shows the last requests with their
replies and has buttons for faults, and http://127.0.0.1:PORT/qsn/page/login?SID=demo is the login page. The
program prints both addresses, and ends at Ctrl+C.

The second form prints one member token of the user and ends. Its lifetime is the account's unless given.

It ends with 0; with 1 when it cannot serve, for instance because of the port or the accounts; with 2 when it
does not understand its command line.
)";

ProgramOptions ParseOptions(std::span<const std::wstring> arguments) {
    ProgramOptions options;
    for (std::size_t i = 0; i < arguments.size(); ++i) {
        const std::wstring& name = arguments[i];
        if (const Switch* found = Find(kSwitches, name)) {
            options.*found->target = true;
            continue;
        }
        const bool known =
            Find(kPathOptions, name) || std::find(kTextOptions.begin(), kTextOptions.end(), name) != kTextOptions.end();
        if (!known) throw UsageError("unknown option " + Narrow(name));
        if (++i == arguments.size()) throw UsageError(Narrow(name) + " needs a value");
        SetValue(options, name, arguments[i]);
    }
    if (!options.help) RequireAll(options);
    return options;
}

}  // namespace qsn::service
