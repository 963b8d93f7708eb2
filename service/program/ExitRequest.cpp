#include "service/program/ExitRequest.h"

#include <windows.h>

#include <array>
#include <thread>

namespace qsn::service {
namespace {

// The handler has no argument, and the reader of standard input may outlive main: both need events that are never
// closed.
const HANDLE g_asked = CreateEventW(nullptr, TRUE, FALSE, nullptr);
const HANDLE g_finished = CreateEventW(nullptr, TRUE, FALSE, nullptr);

constexpr DWORD kCleanUpTime = 5000;

BOOL WINAPI OnConsoleEvent(DWORD event) {
    SetEvent(g_asked);
    const bool processEndsOnReturn = event != CTRL_C_EVENT && event != CTRL_BREAK_EVENT;
    if (processEndsOnReturn) WaitForSingleObject(g_finished, kCleanUpTime);
    return TRUE;
}

void ReadToTheEnd() {
    std::array<char, 256> ignored;
    DWORD count = 0;
    while (
        ReadFile(GetStdHandle(STD_INPUT_HANDLE), ignored.data(), static_cast<DWORD>(ignored.size()), &count, nullptr) &&
        count > 0) {
    }
    SetEvent(g_asked);
}

}  // namespace

ExitRequest::ExitRequest(bool alsoAtEndOfInput) {
    SetConsoleCtrlHandler(OnConsoleEvent, TRUE);
    // A blocked read cannot be ended reliably from outside. The thread ends with the process.
    if (alsoAtEndOfInput) std::thread(ReadToTheEnd).detach();
}

ExitRequest::~ExitRequest() { SetEvent(g_finished); }

void ExitRequest::Wait() const { WaitForSingleObject(g_asked, INFINITE); }

}  // namespace qsn::service
