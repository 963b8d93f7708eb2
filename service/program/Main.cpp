#include <winsock2.h>
// shellapi.h needs windows.h before it.
#include <shellapi.h>

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <memory>
#include <optional>
#include <vector>

#include "service/accounts/AccountsFile.h"
#include "service/net/UserConfiguration.h"
#include "service/pages/LoginPage.h"
#include "service/program/ExitRequest.h"
#include "service/program/ProgramOptions.h"
#include "service/server/AccountServer.h"
#include "service/text/TimeOfDay.h"

namespace qsn::service {
namespace {

constexpr std::size_t kHistorySize = 100;

std::vector<std::wstring> CommandLine() {
    struct LocalDeleter {
        void operator()(wchar_t** memory) const { LocalFree(memory); }
    };
    int count = 0;
    const std::unique_ptr<wchar_t*, LocalDeleter> texts(CommandLineToArgvW(GetCommandLineW(), &count));
    return texts ? std::vector<std::wstring>(texts.get() + 1, texts.get() + count) : std::vector<std::wstring>{};
}

// One call for each line, because connections print from their own threads. A client's text must not control the
// terminal.
void PrintLine(std::string line) {
    std::replace_if(
        line.begin(), line.end(), [](char c) { return (c >= 0 && c < ' ') || c == 0x7f; }, '?');
    std::fputs((line + '\n').c_str(), stdout);
    std::fflush(stdout);
}

void PrintRequest(const RecordedRequest& request) {
    std::string line = TimeOfDay() + ' ' + request.host + ' ' + request.method + ' ' + request.Path();
    if (!request.requestType.empty()) line += ' ' + request.requestType;
    line += " -> " + std::to_string(request.status);
    if (request.result) line += " result " + std::to_string(*request.result);
    if (request.check == RequestCheck::kAccepted) line += ", digest accepted";
    if (!request.refusal.empty()) line += ", refused: " + request.refusal;
    PrintLine(line);
}

void PrintRefused(const std::string& target, int status) {
    PrintLine(TimeOfDay() + " refused " + target + " -> " + std::to_string(status));
}

void WriteFile(const std::filesystem::path& file, std::string_view bytes) {
    std::ofstream stream(file, std::ios::binary);
    stream.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    if (!stream.flush()) throw std::runtime_error("cannot write " + file.string());
}

void WriteAuthority(const std::filesystem::path& folder, const CertificateAuthority& authority) {
    std::filesystem::create_directories(folder);
    const auto der = authority.Der();
    WriteFile(folder / "ca.der", {reinterpret_cast<const char*>(der.data()), der.size()});
    WriteFile(folder / "ca.pem", authority.Pem());
}

void Serve(const ProgramOptions& options) {
    const ExitRequest exitRequest(options.exitWithStdin);
    ServerOptions serverOptions{.keyFolder = options.keys, .accounts = LoadAccounts(options.accounts)};
    serverOptions.port = options.port;
    serverOptions.keepRequests = false;
    serverOptions.historySize = kHistorySize;
    if (!options.quiet) {
        serverOptions.onRequest = PrintRequest;
        serverOptions.onRefused = PrintRefused;
    }
    AccountServer server(std::move(serverOptions));
    if (!options.state.empty()) WriteAuthority(options.state, server.Authority());
    std::optional<UserConfiguration> configuration;
    if (options.configureUser) configuration.emplace(server.Port(), server.Authority().Der());
    const std::string address = "127.0.0.1:" + std::to_string(server.Port());
    PrintLine("listening on " + address);
    PrintLine("requests and faults: http://" + address + '/');
    PrintLine("login page: http://" + address + std::string(kLoginPagePath) + "?SID=demo");
    exitRequest.Wait();
}

void PrintMemberToken(const ProgramOptions& options) {
    Accounts accounts = LoadAccounts(options.accounts);
    const User* user = accounts.FindByUserId(options.memberTokenFor);
    if (!user) throw std::runtime_error("no user " + options.memberTokenFor + " in the accounts");
    PrintLine(
        JwtIssuer().Issue(user->memberId, std::chrono::seconds(options.expiresIn.value_or(user->memberTokenLifetime))));
}

int Run() {
    try {
        const ProgramOptions options = ParseOptions(CommandLine());
        if (options.help) {
            std::fputs(kUsage, stdout);
        } else if (!options.memberTokenFor.empty()) {
            PrintMemberToken(options);
        } else {
            Serve(options);
        }
        return 0;
    } catch (const UsageError& error) {
        std::fprintf(stderr, "qsn-account-service: %s\n\n%s", error.what(), kUsage);
        return 2;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "qsn-account-service: %s\n", error.what());
        return 1;
    }
}

}  // namespace
}  // namespace qsn::service

int main() { return qsn::service::Run(); }
