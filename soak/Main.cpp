// qsn-soak [MINUTES [SEED]]: the bundled service, which fails at random, and three hosts, which are this program again,
// each in a process of its own. They share the user's tokens with a neighbour that does its worst. Exit code 0: nothing
// hung, crashed, grew or broke a promise, and at the end each host was signed in or out as the neighbour had left it.
#include <winsock2.h>
#include <windows.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <random>
#include <string>

#include "Faults.h"
#include "Footprint.h"
#include "Host.h"
#include "Neighbour.h"
#include "service/accounts/AccountsFile.h"
#include "service/net/UserConfiguration.h"
#include "service/server/AccountServer.h"
#include "support/SharedValues.h"

namespace qsn::soak {
namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

constexpr int kHosts = 3;
constexpr std::size_t kTokensKept = 100;
constexpr char kRefreshToken[] = "refresh-soak";
// A host may run this much longer than it was asked to, for its last request.
constexpr DWORD kLastWork = 210000;  // ms

void Print(const std::string& text) {
    std::printf("%s\n", text.c_str());
    std::fflush(stdout);
}

service::ServerOptions Options() {
    service::ServerOptions options;
    options.keyFolder = QSN_SOAK_KEY_DIR;
    options.keepRequests = false;
    options.accounts = service::ParseAccounts(R"({"users": [{
        "userID": "20417",
        "userName": "Ada Quill",
        "userEmail": "ada@quillfern.example",
        "accessTokens": [{"token": "token-soak", "permanent": true}],
        "userMenu": [{"item": "Account", "url": "https://account.quillfern.example/my/profile"}]
    }]})");
    service::User& user = options.accounts.users[0];
    user.memberTokenLifetime = 65;  // so that it is renewed seconds later
    user.nextVerifyTime = 1;
    return options;
}

// The service, and what goes on beside the hosts: other programs change the shared tokens, and keys change.
class World {
public:
    explicit World(unsigned seed)
        : m_server(Options()),
          m_configuration(m_server.Port(), m_server.Authority().Der()),
          m_faults(m_server, seed),
          m_neighbour(seed),
          m_random(seed) {}

    void Tick(unsigned second) {
        if (second % 2 == 0) HandTokensIn();
        if (second % 3 == 0) m_neighbour.Act();
        if (second % 7 == 0) m_server.Members().RotateKey();
        m_faults.Tick(second);
    }
    void LeaveSignedIn(bool signedIn) {
        m_faults.End();
        m_neighbour.LeaveSignedIn(signedIn);
    }
    void PrintTotals() {
        Print("service: " + std::to_string(m_server.Count().requests) + " requests, " +
              std::to_string(m_faults.Total()) + " of them with a fault; faults: " + m_faults.Text());
        Print("neighbour: " + m_neighbour.Text());
    }

private:
    void HandTokensIn() {
        m_server.Accounts().Use([](service::Accounts& accounts) {
            service::User& user = accounts.users[0];
            user.refreshTokens = {kRefreshToken};
            if (user.memberTokens.size() < kTokensKept) return;
            user.memberTokens.erase(user.memberTokens.begin(), user.memberTokens.end() - 10);
        });
        const auto lifetime = m_random() % 2 == 0 ? 10s : 3600s;
        m_values.WriteToken("mTok", m_server.IssueMemberToken("20417", lifetime));
        if (m_random() % 2 == 0) m_values.WriteProtected("rTok", kRefreshToken);
    }

    service::AccountServer m_server;
    service::UserConfiguration m_configuration;
    Faults m_faults;
    Neighbour m_neighbour;
    std::mt19937 m_random;
    test::SharedValues m_values;
};

HANDLE StartHost(int index, unsigned seed, unsigned seconds) {
    wchar_t path[MAX_PATH];
    GetModuleFileNameW(nullptr, path, MAX_PATH);
    std::wstring command = L"\"" + std::wstring(path) + L"\" host " + std::to_wstring(index) + L' ' +
                           std::to_wstring(seed) + L' ' + std::to_wstring(seconds);
    STARTUPINFOW startup = {};
    startup.cb = sizeof(startup);
    PROCESS_INFORMATION process = {};
    if (!CreateProcessW(nullptr, command.data(), nullptr, nullptr, TRUE, 0, nullptr, nullptr, &startup, &process)) {
        throw std::runtime_error("a host cannot be started");
    }
    CloseHandle(process.hThread);
    return process.hProcess;
}

int CountEnded(const std::array<HANDLE, kHosts>& hosts) {
    return static_cast<int>(
        std::ranges::count_if(hosts, [](HANDLE host) { return WaitForSingleObject(host, 0) == WAIT_OBJECT_0; }));
}

// False if a host has failed, crashed, or still runs.
bool HasEndedWell(HANDLE host, int index) {
    DWORD code = STILL_ACTIVE;
    GetExitCodeProcess(host, &code);
    if (code == STILL_ACTIVE) TerminateProcess(host, 1);
    CloseHandle(host);
    if (code == 0) return true;
    char hexadecimal[16];
    std::snprintf(hexadecimal, sizeof(hexadecimal), "0x%lx", code);
    Print("host " + std::to_string(index) +
          (code == STILL_ACTIVE ? " HANGS" : std::string(" ended with ") + hexadecimal));
    return false;
}

int RunDriver(unsigned seconds, unsigned seed) {
    Print("seed " + std::to_string(seed) + ", " + std::to_string(seconds) + " seconds");
    World world(seed);
    std::array<HANDLE, kHosts> hosts;
    for (int i = 0; i < kHosts; ++i) hosts[i] = StartHost(i + 1, seed * 10 + static_cast<unsigned>(i), seconds);
    const auto start = Clock::now();
    const auto end = start + std::chrono::seconds(seconds) + std::chrono::milliseconds(kLastWork);
    Footprint settled;
    LastWords words;
    int listeners = 0;
    int round = 0;
    for (unsigned second = 1; Clock::now() < end; ++second) {
        if (WaitForMultipleObjects(kHosts, hosts.data(), TRUE, 1000) != WAIT_TIMEOUT) break;
        if (round == 0) world.Tick(second);
        listeners += words.NewListeners();
        if (round < LastWords::kRounds && listeners > 0 && listeners + CountEnded(hosts) == kHosts) {
            world.LeaveSignedIn(round == 0);
            words.Speak(round++);
            listeners = 0;
        }
        if (second == 60) settled = Footprint::Now();
        if (second % 60 == 0) Print(std::to_string(second) + " s, driver: " + Footprint::Now().Text());
    }
    bool well = true;
    for (int i = 0; i < kHosts; ++i) well = HasEndedWell(hosts[i], i + 1) && well;
    world.PrintTotals();
    bool driverGrew = false;
    if (settled.handles != 0) Print("driver: " + GrowthText(settled, Footprint::Now(), &driverGrew));
    well = well && !driverGrew;
    Print(well ? "soak passed" : "soak FAILED");
    return well ? 0 : 1;
}

unsigned Number(int count, char** arguments, int index, unsigned otherwise) {
    return index < count ? static_cast<unsigned>(std::strtoul(arguments[index], nullptr, 10)) : otherwise;
}

}  // namespace
}  // namespace qsn::soak

int main(int count, char** arguments) {
    using namespace qsn::soak;
    // A crash gives an exit code, not a box that nobody sees.
    SetErrorMode(SEM_FAILCRITICALERRORS | SEM_NOGPFAULTERRORBOX);
    try {
        if (count > 1 && std::strcmp(arguments[1], "host") == 0) {
            return RunHost({static_cast<int>(Number(count, arguments, 2, 1)), Number(count, arguments, 3, 1),
                            Number(count, arguments, 4, 60)});
        }
        return RunDriver(60 * Number(count, arguments, 1, 10), Number(count, arguments, 2, 1));
    } catch (const std::exception& error) {
        std::fprintf(stderr, "qsn-soak: %s\n", error.what());
        return 1;
    }
}
