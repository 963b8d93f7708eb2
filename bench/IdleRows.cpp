#include <windows.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>

#include "Children.h"
#include "Rows.h"
#include "Sections.h"
#include "Session.h"

namespace qsn::bench {
namespace {

// Wine's threads are Linux threads, and Linux counts what Wine does not count.
constexpr char kProcesses[] = "Z:\\proc";

std::string TextOf(const std::filesystem::path& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

std::filesystem::path FindProcess(const std::string& argument) {
    for (const auto& entry : std::filesystem::directory_iterator(kProcesses)) {
        const std::string name = entry.path().filename().string();
        if (name.find_first_not_of("0123456789") != std::string::npos) continue;
        const std::string command = TextOf(entry.path() / "cmdline");
        if (command.find("--child") != std::string::npos && command.find(argument) != std::string::npos)
            return entry.path();
    }
    throw std::runtime_error("no process " + argument);
}

struct Usage {
    double wakeUps = 0;  // waits that came to an end
    double seconds = 0;  // of a processor
};

Usage UsageOf(const std::filesystem::path& process) {
    constexpr double kNanosecond = 1e-9;
    static const std::string kSwitches = "\nvoluntary_ctxt_switches:";
    Usage usage;
    for (const auto& thread : std::filesystem::directory_iterator(process / "task")) {
        const std::string status = TextOf(thread.path() / "status");
        const std::size_t found = status.find(kSwitches);
        if (found != std::string::npos)
            usage.wakeUps += std::strtod(status.c_str() + found + kSwitches.size(), nullptr);
        usage.seconds += std::strtod(TextOf(thread.path() / "schedstat").c_str(), nullptr) * kNanosecond;
    }
    return usage;
}

struct IdleResult {
    Figures wakeUps;
    Figures processor;
};

IdleResult MeasureIdle() {
    const double seconds = RunOptions().quick ? 3 : 60;
    const LastingChild ours("idle-ours");
    const LastingChild beside("idle-beside");
    const auto ourProcess = FindProcess("idle-ours");
    const auto besideProcess = FindProcess("idle-beside");
    const Usage ourStart = UsageOf(ourProcess);
    const Usage besideStart = UsageOf(besideProcess);
    Sleep(static_cast<DWORD>(seconds * 1000));
    const Usage ourEnd = UsageOf(ourProcess);
    const Usage besideEnd = UsageOf(besideProcess);
    return {{(ourEnd.wakeUps - ourStart.wakeUps) / seconds, (besideEnd.wakeUps - besideStart.wakeUps) / seconds},
            {(ourEnd.seconds - ourStart.seconds) / seconds * 100,
             (besideEnd.seconds - besideStart.seconds) / seconds * 100}};
}

const IdleResult& Idle() {
    static const IdleResult result = MeasureIdle();
    return result;
}

Figures StayWithEverythingOn() {
    Session session;
    session.SignIn();
    uint32_t on = 1;
    session.Qsn().Config(QSNCFG_ENABLE_SINGLE_SIGNON, &on, nullptr);
    session.Qsn().Config(QSNCFG_ENABLE_CHECK_TOKEN_ROUTINE, &on, nullptr);
    TellReady();
    Sleep(INFINITE);
    return {};
}

Figures WakeThirtyTimesASecond() {
    const HANDLE never = CreateEventW(nullptr, TRUE, FALSE, nullptr);
    TellReady();
    constexpr DWORD kThirtieth = 33;  // ms
    while (WaitForSingleObject(never, kThirtieth) == WAIT_TIMEOUT) {
    }
    return {};
}

}  // namespace

void AddIdleRows() {
    AddChild("idle-ours", StayWithEverythingOn);
    AddChild("idle-beside", WakeThirtyTimesASecond);
    static constexpr char kOurs[] = "a signed-in session with its watcher and its timer";
    static constexpr char kBeside[] = "a thread that waits 30 times a second";
    AddFigures({"idle-wake-ups", kOurs, kBeside, "ten ticks a second of the timer, one look of the watcher", 1.0},
               Unit::kPerSecond, [] { return Idle().wakeUps; });
    AddFigures({"idle-processor", kOurs, kBeside, "the same; 0.1 % at most is wanted", 0}, Unit::kPercent,
               [] { return Idle().processor; });
}

}  // namespace qsn::bench
