#include "Children.h"

#include <cstdio>
#include <cstdlib>
#include <map>
#include <stdexcept>
#include <utility>

namespace qsn::bench {
namespace {

std::map<std::string, std::function<Figures()>>& Table() {
    static std::map<std::string, std::function<Figures()>> table;
    return table;
}

struct Child {
    UniqueHandle process;
    UniqueHandle output;
};

Child StartChild(const std::string& name) {
    SECURITY_ATTRIBUTES inherited{sizeof(inherited), nullptr, TRUE};
    Child child;
    UniqueHandle input;
    if (!CreatePipe(child.output.Receive(), input.Receive(), &inherited, 0)) throw std::runtime_error("no pipe");
    SetHandleInformation(child.output.Get(), HANDLE_FLAG_INHERIT, 0);

    char program[MAX_PATH] = {};
    GetModuleFileNameA(nullptr, program, MAX_PATH);
    std::string command = std::string("\"") + program + "\" --child " + name;
    STARTUPINFOA startup{};
    startup.cb = sizeof(startup);
    startup.dwFlags = STARTF_USESTDHANDLES;
    startup.hStdOutput = input.Get();
    startup.hStdError = GetStdHandle(STD_ERROR_HANDLE);
    PROCESS_INFORMATION process{};
    if (!CreateProcessA(nullptr, command.data(), nullptr, nullptr, TRUE, 0, nullptr, nullptr, &startup, &process))
        throw std::runtime_error("no child process " + name);
    CloseHandle(process.hThread);
    child.process.Reset(process.hProcess);
    return child;
}

// Up to the end of the line, or to that of the child.
std::string ReadLine(HANDLE output) {
    std::string line;
    char c = 0;
    DWORD read = 0;
    while (ReadFile(output, &c, 1, &read, nullptr) && read == 1 && c != '\n') line += c;
    return line;
}

}  // namespace

void AddChild(const char* name, std::function<Figures()> measure) { Table()[name] = std::move(measure); }

bool RunAsChild(const std::string& name) {
    const auto found = Table().find(name);
    if (found == Table().end()) return false;
    const Figures figures = found->second();
    std::printf("%.12g %.12g\n", figures.ours, figures.beside);
    return true;
}

Figures FiguresOfChild(const std::string& name) {
    const Child child = StartChild(name);
    const std::string line = ReadLine(child.output.Get());
    WaitForSingleObject(child.process.Get(), INFINITE);
    char* rest = nullptr;
    const double ours = std::strtod(line.c_str(), &rest);
    char* end = nullptr;
    const double beside = std::strtod(rest, &end);
    if (end == rest) throw std::runtime_error("the child " + name + " failed");
    return {ours, beside};
}

LastingChild::LastingChild(const std::string& name) {
    Child child = StartChild(name);
    if (ReadLine(child.output.Get()).empty()) throw std::runtime_error("the child " + name + " failed");
    m_process = std::move(child.process);
}

LastingChild::~LastingChild() {
    TerminateProcess(m_process.Get(), 0);
    WaitForSingleObject(m_process.Get(), INFINITE);
}

void TellReady() {
    std::printf("ready\n");
    std::fflush(stdout);
}

}  // namespace qsn::bench
