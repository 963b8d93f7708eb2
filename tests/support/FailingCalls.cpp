#include "support/FailingCalls.h"

#include <windows.h>

#include <dpapi.h>
#include <objbase.h>
#include <oleauto.h>
#include <wincrypt.h>
#include <wininet.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <string_view>
#include <type_traits>

namespace qsn::test {
namespace {

using Kind = FailingCalls::Kind;

enum Resource { kBlocks, kHandles, kRegistryKeys, kProviders, kCryptKeys, kHashes, kInternet, kSystemMemory, kModules };
constexpr std::array<const char*, 9> kResourceNames{"blocks",           "handles",       "registry keys",
                                                    "crypto providers", "crypto keys",   "hashes",
                                                    "internet handles", "system memory", "modules"};
std::array<std::atomic<long>, kResourceNames.size()> g_held;

std::atomic<int> g_kind{-1};  // of the calls that are to fail
std::atomic<unsigned> g_failAt{0};
std::atomic<bool> g_failEvery{false};
constexpr std::size_t kNoSize = std::numeric_limits<std::size_t>::max();
std::atomic<std::size_t> g_failSize{kNoSize};
std::atomic<unsigned> g_calls{0};
std::atomic<unsigned> g_failures{0};
std::atomic<const char*> g_failed{nullptr};

bool ShallFail(Kind kind, const char* name, std::size_t size) {
    if (g_kind != static_cast<int>(kind)) return false;
    if (++g_calls != g_failAt && !g_failEvery && size < g_failSize) return false;
    if (g_failures++ == 0) g_failed = name;
    return true;
}

struct Name {
    template <std::size_t size>
    consteval Name(const char (&literal)[size]) {  // NOLINT(google-explicit-constructor): stands for a literal
        std::copy_n(literal, size, text);
    }
    char text[32] = {};
};

// Whether a call has handed something out: registry functions give 0 then, the others anything else.
template <class Result>
bool HasOpened(Result result) {
    return std::is_same_v<Result, LSTATUS> ? result == Result{} : result != Result{};
}

// What the compiler is told about malloc beside its type is of no use here.
#pragma GCC diagnostic ignored "-Wignored-attributes"

// Of the block that malloc is asked for.
std::size_t SizeOf(std::size_t size) { return size; }
template <class... Arguments>
std::size_t SizeOf(Arguments...) {
    return 0;
}

template <Name name, class Function>
struct Thunk;
template <Name name, class Result, class... Arguments>
struct Thunk<name, Result(Arguments...)> {
    static inline Result (*original)(Arguments...) = nullptr;

    template <Kind kind, auto failure, DWORD error>
    static Result Fail(Arguments... arguments) {
        if (!ShallFail(kind, name.text, SizeOf(arguments...))) return original(arguments...);
        SetLastError(error);
        if (kind == Kind::kAllocation) errno = ENOMEM;
        return static_cast<Result>(failure);
    }
    template <Kind kind, auto failure, DWORD error, Resource resource>
    static Result Open(Arguments... arguments) {
        const Result result = Fail<kind, failure, error>(arguments...);
        if (HasOpened(result)) ++g_held[resource];
        return result;
    }
    template <Resource resource>
    static Result Close(Arguments... arguments) {
        if ((... || (arguments != Arguments{}))) --g_held[resource];
        return original(arguments...);
    }
};

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

// What can fail for want of something. What only gives back, waits or answers from memory that it is handed is not
// here.
const std::array kImports{
    Allocates<OF(malloc)>(),
    Allocates<OF(calloc)>(),
    Allocates<OF(_strdup)>(),
    MakeImport<OF(realloc)>(&Reallocate),
    Closes<OF(free), kBlocks>(),
    Opens<OF(CreateThread), nullptr, kNoMemory, kHandles>(),
    Closes<OF(CloseHandle), kHandles>(),
    Opens<OF(LoadLibraryW), nullptr, kNoMemory, kModules>(),
    Opens<OF(LoadLibraryExW), nullptr, kNoMemory, kModules>(),
    Closes<OF(FreeLibrary), kModules>(),
    Opens<OF(LocalAlloc), nullptr, kNoMemory, kSystemMemory>(),
    Closes<OF(LocalFree), kSystemMemory>(),
    Fails<OF(GetComputerNameW), FALSE, kNoMemory>(),
    Opens<OF(RegOpenKeyExA), kNoMemory, kNoMemory, kRegistryKeys>(),
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
    Opens<OF(InternetOpenA), nullptr, kNoMemory, kInternet>(),
    Opens<OF(InternetConnectA), nullptr, kNoMemory, kInternet>(),
    Opens<OF(HttpOpenRequestA), nullptr, kNoMemory, kInternet>(),
    Closes<OF(InternetCloseHandle), kInternet>(),
    Fails<OF(InternetSetOptionW), FALSE, kNoMemory>(),
    Fails<OF(HttpSendRequestA), FALSE, ERROR_INTERNET_CANNOT_CONNECT>(),
    Fails<OF(HttpQueryInfoA), FALSE, kNoMemory>(),
    Fails<OF(HttpQueryInfoW), FALSE, kNoMemory>(),
    Fails<OF(InternetQueryDataAvailable), FALSE, ERROR_INTERNET_CONNECTION_RESET>(),
    Fails<OF(InternetReadFile), FALSE, ERROR_INTERNET_CONNECTION_RESET>(),
};
#undef OF

void Write(ULONGLONG& entry, void* function) {
    DWORD before = 0;
    VirtualProtect(&entry, sizeof(entry), PAGE_READWRITE, &before);
    entry = reinterpret_cast<ULONGLONG>(function);
    VirtualProtect(&entry, sizeof(entry), before, &before);
}

// Calls `visit(name, entry)` for each function that the DLL imports by name.
template <class Visit>
void ForEachImport(Visit&& visit) {
    auto* const base = reinterpret_cast<std::byte*>(GetModuleHandleW(L"qsn.dll"));
    if (!base) return;
    const auto at = [base]<class T>(ULONGLONG offset, T*) { return reinterpret_cast<T*>(base + offset); };
    const auto* const dos = reinterpret_cast<IMAGE_DOS_HEADER*>(base);
    const auto* const headers = at(static_cast<ULONGLONG>(dos->e_lfanew), static_cast<IMAGE_NT_HEADERS64*>(nullptr));
    const auto& directory = headers->OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_IMPORT];
    auto* module = at(directory.VirtualAddress, static_cast<IMAGE_IMPORT_DESCRIPTOR*>(nullptr));
    for (; module->Name != 0; ++module) {
        const auto* names = at(module->OriginalFirstThunk, static_cast<IMAGE_THUNK_DATA64*>(nullptr));
        auto* entries = at(module->FirstThunk, static_cast<IMAGE_THUNK_DATA64*>(nullptr));
        for (; names->u1.AddressOfData != 0; ++names, ++entries) {
            if (IMAGE_SNAP_BY_ORDINAL64(names->u1.Ordinal)) continue;
            visit(
                reinterpret_cast<char*>(at(names->u1.AddressOfData, static_cast<IMAGE_IMPORT_BY_NAME*>(nullptr))->Name),
                entries->u1.Function);
        }
    }
}

}  // namespace

FailingCalls::FailingCalls() {
    for (std::atomic<long>& held : g_held) held = 0;
    ForEachImport([](std::string_view name, ULONGLONG& entry) {
        const auto import = std::ranges::find(kImports, name, &Import::name);
        if (import == kImports.end()) return;
        // The runtime imports some functions more than once.
        if (!*import->original) *import->original = reinterpret_cast<void*>(entry);
        Write(entry, import->thunk);
    });
}

FailingCalls::~FailingCalls() {
    Stop();
    ForEachImport([](std::string_view name, ULONGLONG& entry) {
        const auto import = std::ranges::find(kImports, name, &Import::name);
        if (import != kImports.end()) Write(entry, *import->original);
    });
}

void FailingCalls::FailNth(Kind kind, unsigned n) {
    Stop();
    g_failed = nullptr;
    g_calls = 0;
    g_failures = 0;
    g_failAt = n;
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

const char* FailingCalls::Stop() {
    g_kind = -1;
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
