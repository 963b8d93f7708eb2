#include "support/FailingCalls.h"

#include <winsock2.h>
#include <windows.h>
#include <ws2tcpip.h>

#define SECURITY_WIN32  // which of its interfaces the header is to show
#include <bcrypt.h>
#include <dpapi.h>
#include <objbase.h>
#include <oleauto.h>
#include <security.h>
#include <wincrypt.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <mutex>
#include <set>
#include <string_view>
#include <type_traits>
#include <utility>

#include "support/ImportTable.h"

namespace qsn::test {
namespace {

using Kind = FailingCalls::Kind;

enum Resource {
    kBlocks,
    kHandles,
    kRegistryKeys,
    kProviders,
    kCryptKeys,
    kHashes,
    kSockets,
    kChains,
    kSystemMemory,
    kModules
};
constexpr std::array kResourceNames{"blocks", "handles", "registry keys",      "crypto providers", "crypto keys",
                                    "hashes", "sockets", "certificate chains", "system memory",    "modules"};
std::array<std::atomic<long>, kResourceNames.size()> g_held;

std::atomic<int> g_kind{-1};               // of the calls that are to fail
std::atomic<const char*> g_name{nullptr};  // in place of a kind: the one function whose calls fail
std::atomic<DWORD> g_error{0};             // their error; 0: each function has its own
std::atomic<unsigned> g_failAt{0};
std::atomic<bool> g_failEvery{false};
constexpr std::size_t kNoSize = std::numeric_limits<std::size_t>::max();
std::atomic<std::size_t> g_failSize{kNoSize};
std::atomic<unsigned> g_calls{0};
std::atomic<unsigned> g_failures{0};
std::atomic<const char*> g_failed{nullptr};

bool IsMeant(Kind kind, const char* name) {
    const char* const only = g_name;
    return only ? std::strcmp(only, name) == 0 : g_kind == static_cast<int>(kind);
}

bool ShallFail(Kind kind, const char* name, std::size_t size) {
    if (!IsMeant(kind, name)) return false;
    if (++g_calls != g_failAt && !g_failEvery && size < g_failSize) return false;
    if (g_failures++ == 0) g_failed = name;
    return true;
}

struct Name {
    template <std::size_t size>
    consteval Name(const char (&literal)[size]) {  // NOLINT(google-explicit-constructor): stands for a literal
        std::copy_n(literal, size, text);
    }
    char text[40] = {};
};

// Whether a call has handed something out: registry functions give 0 then, the others anything else.
template <class Result>
bool HasOpened(Result result) {
    return std::is_same_v<Result, LSTATUS> ? result == Result{} : result != Result{};
}

// The attributes that malloc has besides its type are of no use here.
#pragma GCC diagnostic ignored "-Wignored-attributes"

// Of the block that malloc is asked for.
std::size_t SizeOf(std::size_t size) { return size; }
template <class... Arguments>
std::size_t SizeOf(Arguments...) {
    return 0;
}

// libcurl also frees modules that it did not get through these functions.
std::mutex g_modulesLock;
std::multiset<HMODULE> g_modules;

void NoteModule(HMODULE module) {
    const std::lock_guard lock(g_modulesLock);
    g_modules.insert(module);
}
bool ForgetModule(HMODULE module) {
    const std::lock_guard lock(g_modulesLock);
    const auto found = g_modules.find(module);
    if (found == g_modules.end()) return false;
    g_modules.erase(found);
    return true;
}

template <Name name, class Function>
struct Thunk;
template <Name name, class Result, class... Arguments>
struct Thunk<name, Result(Arguments...)> {
    static inline Result (*original)(Arguments...) = nullptr;

    template <Kind kind, auto failure, DWORD error>
    static Result Fail(Arguments... arguments) {
        if (!ShallFail(kind, name.text, SizeOf(arguments...))) return original(arguments...);
        const DWORD chosen = g_error;
        SetLastError(chosen != 0 ? chosen : error);
        if (kind == Kind::kAllocation) errno = ENOMEM;
        // These return the number itself.
        if constexpr (std::is_same_v<Result, LONG>) {
            if (chosen != 0) return static_cast<Result>(chosen);
        }
        return static_cast<Result>(failure);
    }
    template <Kind kind, auto failure, DWORD error, Resource resource>
    static Result Open(Arguments... arguments) {
        const Result result = Fail<kind, failure, error>(arguments...);
        if (!HasOpened(result) || result == static_cast<Result>(failure)) return result;
        ++g_held[resource];
        if constexpr (resource == kModules) NoteModule(result);
        return result;
    }
    template <Resource resource>
    static Result Close(Arguments... arguments) {
        if ((... || (arguments != Arguments{}))) --g_held[resource];
        return original(arguments...);
    }
};

using FreeLibraryThunk = Thunk<"FreeLibrary", decltype(FreeLibrary)>;
BOOL WINAPI FreeNoted(HMODULE module) {
    if (ForgetModule(module)) --g_held[kModules];
    return FreeLibraryThunk::original(module);
}

using Realloc = Thunk<"realloc", decltype(realloc)>;
void* Reallocate(void* block, std::size_t size) {
    if (!block) return Realloc::Open<Kind::kAllocation, nullptr, ERROR_NOT_ENOUGH_MEMORY, kBlocks>(block, size);
    return Realloc::Fail<Kind::kAllocation, nullptr, ERROR_NOT_ENOUGH_MEMORY>(block, size);
}

struct Import {
    const char* name;
    void* thunk;
    void** original;
};

template <Name name, class Function>
Import MakeImport(Function* thunk) {
    return {name.text, reinterpret_cast<void*>(thunk), reinterpret_cast<void**>(&Thunk<name, Function>::original)};
}
template <Name name, class Function, auto failure, DWORD error>
Import Fails() {
    return MakeImport<name, Function>(&Thunk<name, Function>::template Fail<Kind::kPlatform, failure, error>);
}
template <Name name, class Function, auto failure, DWORD error, Resource resource>
Import Opens() {
    return MakeImport<name, Function>(&Thunk<name, Function>::template Open<Kind::kPlatform, failure, error, resource>);
}
template <Name name, class Function>
Import Allocates() {
    return MakeImport<name, Function>(
        &Thunk<name, Function>::template Open<Kind::kAllocation, nullptr, ERROR_NOT_ENOUGH_MEMORY, kBlocks>);
}
template <Name name, class Function, Resource resource>
Import Closes() {
    return MakeImport<name, Function>(&Thunk<name, Function>::template Close<resource>);
}

#define OF(function) #function, decltype(function)
constexpr DWORD kNoMemory = ERROR_NOT_ENOUGH_MEMORY;
constexpr DWORD kNoCryptoMemory = static_cast<DWORD>(NTE_NO_MEMORY);

// The functions that can fail for want of something. WSACreateEvent is missing, because libcurl keeps a block each time
// that it fails. So are functions that only give back, wait, or answer from memory that they are handed.
const std::array kImports{
    Allocates<OF(malloc)>(),
    Allocates<OF(calloc)>(),
    Allocates<OF(_strdup)>(),
    MakeImport<OF(realloc)>(&Reallocate),
    Closes<OF(free), kBlocks>(),
    Opens<OF(CreateThread), nullptr, kNoMemory, kHandles>(),
    Opens<OF(CreateEventW), nullptr, kNoMemory, kHandles>(),
    Opens<OF(CreateMutexW), nullptr, kNoMemory, kHandles>(),
    Closes<OF(CloseHandle), kHandles>(),
    Opens<OF(LoadLibraryA), nullptr, kNoMemory, kModules>(),
    Opens<OF(LoadLibraryW), nullptr, kNoMemory, kModules>(),
    Opens<OF(LoadLibraryExW), nullptr, kNoMemory, kModules>(),
    MakeImport<OF(FreeLibrary)>(&FreeNoted),
    Opens<OF(LocalAlloc), nullptr, kNoMemory, kSystemMemory>(),
    Closes<OF(LocalFree), kSystemMemory>(),
    Fails<OF(GetComputerNameW), FALSE, kNoMemory>(),
    Opens<OF(RegOpenKeyExA), kNoMemory, kNoMemory, kRegistryKeys>(),
    Opens<OF(RegOpenKeyExW), kNoMemory, kNoMemory, kRegistryKeys>(),
    Fails<OF(RegGetValueW), kNoMemory, kNoMemory>(),
    Fails<OF(RegNotifyChangeKeyValue), kNoMemory, kNoMemory>(),
    Opens<OF(RegCreateKeyExA), kNoMemory, kNoMemory, kRegistryKeys>(),
    Closes<OF(RegCloseKey), kRegistryKeys>(),
    Fails<OF(RegQueryValueExA), kNoMemory, kNoMemory>(),
    Fails<OF(RegSetValueExA), kNoMemory, kNoMemory>(),
    Fails<OF(RegDeleteValueA), kNoMemory, kNoMemory>(),
    Opens<OF(CryptAcquireContextW), FALSE, kNoCryptoMemory, kProviders>(),
    Closes<OF(CryptReleaseContext), kProviders>(),
    Opens<OF(CryptImportKey), FALSE, kNoCryptoMemory, kCryptKeys>(),
    Closes<OF(CryptDestroyKey), kCryptKeys>(),
    Opens<OF(CryptCreateHash), FALSE, kNoCryptoMemory, kHashes>(),
    Closes<OF(CryptDestroyHash), kHashes>(),
    Fails<OF(CryptHashData), FALSE, kNoCryptoMemory>(),
    Fails<OF(CryptGetHashParam), FALSE, kNoCryptoMemory>(),
    Fails<OF(CryptGetKeyParam), FALSE, kNoCryptoMemory>(),
    Fails<OF(CryptEncrypt), FALSE, kNoCryptoMemory>(),
    Fails<OF(CryptDecrypt), FALSE, kNoCryptoMemory>(),
    Fails<OF(CryptGenRandom), FALSE, kNoCryptoMemory>(),
    Opens<OF(CryptProtectData), FALSE, kNoMemory, kSystemMemory>(),
    Opens<OF(CryptUnprotectData), FALSE, kNoMemory, kSystemMemory>(),
    Fails<OF(CryptBinaryToStringA), FALSE, kNoMemory>(),
    Fails<OF(CryptStringToBinaryA), FALSE, kNoMemory>(),
    Fails<OF(CoInitialize), E_OUTOFMEMORY, kNoMemory>(),
    Fails<OF(CoInitializeSecurity), E_OUTOFMEMORY, kNoMemory>(),
    Fails<OF(CoCreateInstance), E_OUTOFMEMORY, kNoMemory>(),
    Fails<OF(CoSetProxyBlanket), E_OUTOFMEMORY, kNoMemory>(),
    Fails<OF(SysAllocString), nullptr, kNoMemory>(),
    Fails<OF(WSAStartup), WSASYSNOTREADY, WSASYSNOTREADY>(),
    Opens<OF(socket), INVALID_SOCKET, WSAENOBUFS, kSockets>(),
    Closes<OF(closesocket), kSockets>(),
    Fails<OF(ioctlsocket), SOCKET_ERROR, WSAENOBUFS>(),
    Fails<OF(setsockopt), SOCKET_ERROR, WSAENOBUFS>(),
    Fails<OF(getsockopt), SOCKET_ERROR, WSAENOBUFS>(),
    Fails<OF(connect), SOCKET_ERROR, WSAENOBUFS>(),
    Fails<OF(send), SOCKET_ERROR, WSAECONNRESET>(),
    Fails<OF(recv), SOCKET_ERROR, WSAECONNRESET>(),
    Fails<OF(WSAEventSelect), SOCKET_ERROR, WSAENOBUFS>(),
    Fails<OF(QueryContextAttributesW), SEC_E_INSUFFICIENT_MEMORY, kNoMemory>(),
    Opens<OF(CertGetCertificateChain), FALSE, kNoMemory, kChains>(),
    Closes<OF(CertFreeCertificateChain), kChains>(),
    Fails<OF(CertVerifyCertificateChainPolicy), FALSE, kNoMemory>(),
    Fails<OF(BCryptGenRandom), STATUS_NO_MEMORY, kNoMemory>(),
};
#undef OF

}  // namespace

FailingCalls::FailingCalls() {
    for (std::atomic<long>& held : g_held) held = 0;
    ForEachImport([](std::string_view name, ULONGLONG& entry) {
        const auto import = std::ranges::find(kImports, name, &Import::name);
        if (import == kImports.end()) return;
        // The runtime imports some functions more than once.
        if (!*import->original) *import->original = reinterpret_cast<void*>(entry);
        WriteImport(entry, import->thunk);
    });
}

FailingCalls::~FailingCalls() {
    Stop();
    ForEachImport([](std::string_view name, ULONGLONG& entry) {
        const auto import = std::ranges::find(kImports, name, &Import::name);
        if (import != kImports.end()) WriteImport(entry, *import->original);
    });
}

void FailingCalls::FailNth(Kind kind, unsigned n) {
    StartAnew(n);
    g_kind = static_cast<int>(kind);
}

void FailingCalls::FailEvery(Kind kind) {
    FailNth(kind, 1);
    g_failEvery = true;
}

void FailingCalls::FailBlocksOf(std::size_t size) {
    FailNth(Kind::kAllocation, 0);
    g_failSize = size;
}

void FailingCalls::FailCallsOf(const char* name, DWORD error) {
    StartAnew(1);
    g_failEvery = true;
    g_error = error;
    g_name = name;
}

void FailingCalls::StartAnew(unsigned n) {
    Stop();
    g_failed = nullptr;
    g_calls = 0;
    g_failures = 0;
    g_failAt = n;
}

const char* FailingCalls::Stop() {
    g_kind = -1;
    g_name = nullptr;
    g_error = 0;
    g_failSize = kNoSize;
    g_failEvery = false;
    return g_failed;
}

unsigned FailingCalls::Failures() const { return g_failures; }

std::map<std::string, long> FailingCalls::Held() {
    std::map<std::string, long> held;
    for (std::size_t i = 0; i < kResourceNames.size(); ++i) {
        if (g_held[i] != 0) held[kResourceNames[i]] = g_held[i];
    }
    return held;
}

}  // namespace qsn::test
