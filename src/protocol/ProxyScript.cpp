#include "protocol/ProxyScript.h"

#include <winhttp.h>

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <memory>
#include <new>

#include "Utility/SystemHeap.h"
#include "Utility/Text.h"
#include "protocol/ProxyRules.h"

extern "C" {
// The search thread's start, below, and the place behind its last instruction.
DWORD WINAPI QsnBeginProxySearch(void* search);
extern const char QsnEndOfBeginProxySearch[];
}

namespace qsn {
namespace {

constexpr ULONGLONG kTimeToLeaveAlone = 30000;  // ms, after a failure
constexpr SIZE_T kStackSize = 1 << 20;
constexpr std::size_t kMaxUrl = 2083;

// What the system reads and writes while it searches. On its own heap: a search that is broken off is left to the
// system for good, even if the DLL is freed meanwhile.
struct Search : OnSystemHeap {
    decltype(&WinHttpGetProxyForUrl) function = nullptr;
    HINTERNET session = nullptr;
    const wchar_t* url = urlText;
    WINHTTP_AUTOPROXY_OPTIONS* options = &optionsGiven;
    WINHTTP_PROXY_INFO* answer = &answerGiven;
    std::atomic<LONG> begun{0};

    WINHTTP_AUTOPROXY_OPTIONS optionsGiven{};
    WINHTTP_PROXY_INFO answerGiven{};
    wchar_t urlText[kMaxUrl + 1]{};
    wchar_t address[kMaxUrl + 1]{};

    Search() = default;
    Search(const Search&) = delete;
    Search& operator=(const Search&) = delete;
    ~Search() {
        if (answer->lpszProxy) GlobalFree(answer->lpszProxy);
        if (answer->lpszProxyBypass) GlobalFree(answer->lpszProxyBypass);
    }
};

using UniqueSearch = std::unique_ptr<Search>;

}  // namespace
}  // namespace qsn

// Jumps from the thread's start into the system's function instead of calling it. A search that was left then returns
// straight to where the system ends a thread, and never to this DLL, which may be gone.
static_assert(offsetof(qsn::Search, function) == 0 && offsetof(qsn::Search, session) == 8 &&
              offsetof(qsn::Search, url) == 16 && offsetof(qsn::Search, options) == 24 &&
              offsetof(qsn::Search, answer) == 32 && offsetof(qsn::Search, begun) == 40);
asm(R"(
    .text
    .globl QsnBeginProxySearch
QsnBeginProxySearch:
    movl $1, 40(%rcx)
    movq (%rcx), %rax
    movq 16(%rcx), %rdx
    movq 24(%rcx), %r8
    movq 32(%rcx), %r9
    movq 8(%rcx), %rcx
    jmp *%rax
    .globl QsnEndOfBeginProxySearch
QsnEndOfBeginProxySearch:
)");

namespace qsn {
namespace {

// A session for one search.
class Session {
public:
    explicit Session(HMODULE library)
        : m_close(FindFunction<decltype(WinHttpCloseHandle)>(library, "WinHttpCloseHandle")) {
        const auto open = FindFunction<decltype(WinHttpOpen)>(library, "WinHttpOpen");
        if (open && m_close) m_handle = open(nullptr, WINHTTP_ACCESS_TYPE_NO_PROXY, nullptr, nullptr, 0);
    }
    Session(const Session&) = delete;
    Session& operator=(const Session&) = delete;
    ~Session() {
        if (m_handle) m_close(m_handle);
    }
    HINTERNET Get() const noexcept { return m_handle; }
    // Keeps it open for good.
    void Detach() noexcept { m_handle = nullptr; }

private:
    decltype(&WinHttpCloseHandle) m_close;
    HINTERNET m_handle = nullptr;
};

UniqueSearch MakeSearch(const std::wstring& address, const std::wstring& url) {
    if (url.size() > kMaxUrl || address.size() > kMaxUrl) return nullptr;
    UniqueSearch search = std::make_unique<Search>();
    std::ranges::copy(url, search->urlText);
    std::ranges::copy(address, search->address);
    WINHTTP_AUTOPROXY_OPTIONS& options = search->optionsGiven;
    if (address.empty()) {
        options.dwFlags = WINHTTP_AUTOPROXY_AUTO_DETECT;
        options.dwAutoDetectFlags = WINHTTP_AUTO_DETECT_TYPE_DHCP | WINHTTP_AUTO_DETECT_TYPE_DNS_A;
    } else {
        options.dwFlags = WINHTTP_AUTOPROXY_CONFIG_URL;
        options.lpszAutoConfigUrl = search->address;
    }
    // Whoever answers for a script gets no credentials of the user.
    options.fAutoLogonIfChallenged = FALSE;
    return search;
}

// True once the thread runs code of the system alone.
bool HasLeftThisCode(HANDLE thread, const Search& search) {
    if (WaitForSingleObject(thread, 0) == WAIT_OBJECT_0) return true;
    if (!search.begun) return false;
    CONTEXT context{};
    context.ContextFlags = CONTEXT_CONTROL;
    if (SuspendThread(thread) == static_cast<DWORD>(-1)) return false;
    const bool isKnown = GetThreadContext(thread, &context) != FALSE;
    ResumeThread(thread);
    const auto first = reinterpret_cast<DWORD64>(&QsnBeginProxySearch);
    const auto end = reinterpret_cast<DWORD64>(QsnEndOfBeginProxySearch);
    return isKnown && (context.Rip < first || context.Rip >= end);
}

std::vector<std::string> WaysIn(const WINHTTP_PROXY_INFO& answer) {
    if (answer.dwAccessType != WINHTTP_ACCESS_TYPE_NAMED_PROXY) return {""};
    return answer.lpszProxy ? ProxiesIn(WideToUtf8(answer.lpszProxy)) : std::vector<std::string>();
}

}  // namespace

std::vector<std::string> ProxyScript::Ask(const std::wstring& address, const std::string& host,
                                          Interruption& interruption, DWORD milliseconds) {
    if (address == m_failed && GetTickCount64() - m_failedAt < kTimeToLeaveAlone) return {};
    std::vector<std::string> ways = Run(address, host, interruption, milliseconds);
    if (ways.empty() && !interruption.IsBrokenOff()) {
        m_failed = address;
        m_failedAt = GetTickCount64();
        m_library.Reset();  // loaded again it asks again; under Wine it would remember the failure for good
    }
    return ways;
}

// WinHTTP's asynchronous resolver is of no use: without a callback it does not tell a failure from a search that goes
// on, a callback might come when the DLL is gone, and under Wine there is no such resolver.
std::vector<std::string> ProxyScript::Run(const std::wstring& address, const std::string& host,
                                          Interruption& interruption, DWORD milliseconds) {
    if (!m_library) m_library.Reset(LoadLibraryExW(L"winhttp.dll", nullptr, LOAD_LIBRARY_SEARCH_SYSTEM32));
    if (!m_library) return {};
    Session session(m_library.Get());
    UniqueSearch search = MakeSearch(address, L"https://" + Utf8ToWide(host) + L"/");
    if (!search) return {};
    search->session = session.Get();
    search->function = FindFunction<decltype(WinHttpGetProxyForUrl)>(m_library.Get(), "WinHttpGetProxyForUrl");
    if (!search->session || !search->function) return {};
    const UniqueHandle thread(CreateThread(nullptr, kStackSize, &QsnBeginProxySearch, search.get(),
                                           STACK_SIZE_PARAM_IS_A_RESERVATION, nullptr));
    if (!thread) return {};
    if (interruption.Wait(thread.Get(), milliseconds)) {
        DWORD isFound = FALSE;
        return GetExitCodeThread(thread.Get(), &isFound) && isFound ? WaysIn(*search->answer)
                                                                    : std::vector<std::string>();
    }
    while (!HasLeftThisCode(thread.Get(), *search)) Sleep(1);
    if (WaitForSingleObject(thread.Get(), 0) == WAIT_OBJECT_0) return {};
    // The system's now, and goes on in its library until it has an answer. The session is not closed under it: that is
    // not allowed while a call of another thread uses it.
    static_cast<void>(search.release());
    static_cast<void>(m_library.Detach());
    session.Detach();
    return {};
}

}  // namespace qsn
