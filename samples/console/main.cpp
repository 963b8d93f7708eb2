// A console program on top of the account client: one command per call.

#include <qsn/client.hpp>

#include <shellapi.h>

#include <cstdio>
#include <cstring>
#include <exception>
#include <string>
#include <vector>

#include "Commands.h"
#include "Walk.h"

namespace {

using sample::Settings;

enum ExitCode { kDone = 0, kFailed = 1, kWrongUsage = 2, kNotSignedIn = 3 };

constexpr char kUsage[] =
    R"(usage: qsn-host COMMAND [OPTIONS]

  sign-in    sign in on a page in the browser
  user       show who is signed in, and their menu
  products   list the user's products
  quota      show how many downloads are left
  watch      report what the suite's other applications do, until Enter
  sign-out   sign out

  session    walk through one session, every answer checked
  tokens     walk through token renewal and checks; needs --member-token

  --sid SID            the product that makes the requests (QSN-DEMO)
  --token TOKEN        an access token to use instead of the shared one; with sign-in: to share without a browser
  --no-browser         sign-in: print the page's address, open nothing
  --packs              products: the second generation's list, content packs
  --log                quota: report a download first
  --member-token TOKEN tokens: a token that expires within a minute

sign-in shares the access token with the suite's other applications through the user's registry, as single sign-on does,
so later calls of this program are signed in until sign-out. Treat that Windows account as signed in.

Exit code: 0 done, 1 failed, 2 wrong usage, 3 sign in first.
)";

struct Command {
    const char* name;
    void (*run)(const Settings&);
};

constexpr Command kCommands[] = {
    {"sign-in", sample::SignIn},
    {"user", sample::ShowUser},
    {"products", sample::ShowProducts},
    {"quota", sample::ShowQuota},
    {"watch", sample::Watch},
    {"sign-out", sample::SignOut},
    {"session", sample::WalkThroughSession},
    {"tokens", sample::WalkThroughTokenCare},
};

struct UsageError : std::runtime_error {
    using runtime_error::runtime_error;
};

std::vector<std::string> Arguments() {
    int count = 0;
    wchar_t** const all = CommandLineToArgvW(GetCommandLineW(), &count);
    std::vector<std::string> arguments;
    for (int i = 1; i < count; ++i) arguments.push_back(qsn::ToUtf8(all[i]));
    LocalFree(all);
    return arguments;
}

const Command& FindCommand(const std::string& name) {
    for (const Command& each : kCommands) {
        if (name == each.name) return each;
    }
    throw UsageError("There is no command \"" + name + "\".");
}

Settings ReadOptions(const std::vector<std::string>& arguments) {
    Settings settings;
    for (std::size_t i = 1; i < arguments.size(); ++i) {
        const std::string& name = arguments[i];
        const auto value = [&]() -> const std::string& {
            if (++i == arguments.size()) throw UsageError("The option " + name + " needs a value.");
            return arguments[i];
        };
        if (name == "--sid")
            settings.sid = qsn::ToWide(value());
        else if (name == "--token")
            settings.token = value();
        else if (name == "--member-token")
            settings.memberToken = value();
        else if (name == "--no-browser")
            settings.noBrowser = true;
        else if (name == "--packs")
            settings.packs = true;
        else if (name == "--log")
            settings.log = true;
        else
            throw UsageError("There is no option \"" + name + "\".");
    }
    return settings;
}

int Complain(const char* sentence, ExitCode code) {
    std::fprintf(stderr, "qsn-host: %s\n", sentence);
    return code;
}

int Run() {
    try {
        const std::vector<std::string> arguments = Arguments();
        for (const std::string& each : arguments) {
            if (each == "--help" || each == "-h" || each == "help") return std::printf("%s", kUsage), kDone;
        }
        if (arguments.empty()) throw UsageError("Which command? --help lists them.");
        const Command& command = FindCommand(arguments[0]);
        command.run(ReadOptions(arguments));
        return kDone;
    } catch (const UsageError& error) {
        return Complain(error.what(), kWrongUsage);
    } catch (const sample::NotSignedIn& error) {
        return Complain(error.what(), kNotSignedIn);
    } catch (const std::system_error& error) {
        const qsn::CodeText* const text = qsn::FindCodeText(error.code());
        const std::string sentence = text ? text->sentence : error.code().message();
        return Complain(sentence.c_str(), error.code() == qsn::Condition::kSignInRequired ? kNotSignedIn : kFailed);
    } catch (const std::exception& error) {
        return Complain(error.what(), kFailed);
    }
}

}  // namespace

int main() {
    SetConsoleOutputCP(CP_UTF8);
    std::setvbuf(stdout, nullptr, _IONBF, 0);
    return Run();
}
