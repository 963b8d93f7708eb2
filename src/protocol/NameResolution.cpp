#include "protocol/NameResolution.h"

#include <winsock2.h>
#include <ws2tcpip.h>

#include <algorithm>
#include <array>
#include <memory>
#include <new>

#include "Utility/SystemHeap.h"
#include "Utility/Text.h"
#include "Utility/Win32Owners.h"

// These headers lack the two.
extern "C" {
WINSOCK_API_LINKAGE int WSAAPI GetAddrInfoExCancel(LPHANDLE handle);
WINSOCK_API_LINKAGE int WSAAPI GetAddrInfoExOverlappedResult(LPOVERLAPPED overlapped);
}

namespace qsn {
namespace {

constexpr std::size_t kMaxNameLength = 255;
constexpr ULONGLONG kAddressLifetime = 60000;  // ms, as libcurl's own cache would keep one
constexpr DWORD kTimeToCancel = 50;            // ms; the system says at once that it gave up

// What the system reads and writes while it asks. On its own heap, for a query that cannot be cancelled (Wine's) is
// left to the system for good, even if the DLL is freed meanwhile.
struct Query : OnSystemHeap {
    OVERLAPPED overlapped{};
    ADDRINFOEXW hints{};
    wchar_t name[kMaxNameLength + 1]{};
    ADDRINFOEXW* result = nullptr;
    HANDLE cancel = nullptr;

    Query() = default;
    Query(const Query&) = delete;
    Query& operator=(const Query&) = delete;
    ~Query() {
        if (result) FreeAddrInfoExW(result);
        if (overlapped.hEvent) CloseHandle(overlapped.hEvent);
    }
};

using UniqueQuery = std::unique_ptr<Query>;

UniqueQuery MakeQuery(const std::wstring& name) {
    UniqueQuery query = std::make_unique<Query>();
    query->overlapped.hEvent = CreateEventW(nullptr, TRUE, FALSE, nullptr);
    if (!query->overlapped.hEvent) throw std::bad_alloc();
    query->hints.ai_family = AF_UNSPEC;
    query->hints.ai_socktype = SOCK_STREAM;
    query->hints.ai_protocol = IPPROTO_TCP;
    std::ranges::copy(name, query->name);
    return query;
}

// Lets go of a query that is still running.
void GiveUp(UniqueQuery query) noexcept {
    if (query->cancel) GetAddrInfoExCancel(&query->cancel);
    if (WaitForSingleObject(query->overlapped.hEvent, query->cancel ? kTimeToCancel : 0) == WAIT_OBJECT_0) return;
    static_cast<void>(query.release());  // the system's now
}

std::string TextOf(const sockaddr& address) {
    std::array<char, INET6_ADDRSTRLEN> text{};
    if (address.sa_family == AF_INET) {
        const auto& v4 = reinterpret_cast<const sockaddr_in&>(address);
        return inet_ntop(AF_INET, &v4.sin_addr, text.data(), text.size()) ? text.data() : "";
    }
    if (address.sa_family != AF_INET6) return {};
    const auto& v6 = reinterpret_cast<const sockaddr_in6&>(address);
    const char* const digits = inet_ntop(AF_INET6, &v6.sin6_addr, text.data(), text.size());
    return digits ? '[' + std::string(digits) + ']' : std::string();
}

std::vector<std::string> AddressesIn(const ADDRINFOEXW* entry) {
    std::vector<std::string> addresses;
    while (entry) {
        std::string text = entry->ai_addr ? TextOf(*entry->ai_addr) : std::string();
        if (!text.empty()) addresses.push_back(std::move(text));
        // These headers spell the type in two ways.
        entry = reinterpret_cast<const ADDRINFOEXW*>(entry->ai_next);
    }
    return addresses;
}

}  // namespace

std::vector<std::string> ResolveName(const std::string& host, Interruption& interruption, DWORD milliseconds) {
    const std::wstring name = Utf8ToWide(host);
    if (name.empty() || name.size() > kMaxNameLength) return {};
    UniqueQuery query = MakeQuery(name);
    const int error = GetAddrInfoExW(query->name, nullptr, NS_ALL, nullptr, &query->hints, &query->result, nullptr,
                                     &query->overlapped, nullptr, &query->cancel);
    if (error == WSA_IO_PENDING) {
        if (!interruption.Wait(query->overlapped.hEvent, milliseconds)) {
            GiveUp(std::move(query));
            return {};
        }
        if (GetAddrInfoExOverlappedResult(&query->overlapped) != NO_ERROR) return {};
    } else if (error != NO_ERROR) {
        return {};
    }
    return AddressesIn(query->result);
}

std::string KnownAddresses::For(const std::string& host, const std::string& port, Interruption& interruption,
                                DWORD milliseconds) {
    const std::string name = host + ':' + port;
    const auto known = std::ranges::find(m_addresses, name, &Address::name);
    const ULONGLONG now = GetTickCount64();
    if (known != m_addresses.end() && now - known->since < kAddressLifetime) return known->numbers;
    std::string numbers;
    for (const std::string& address : ResolveName(host, interruption, milliseconds))
        numbers.append(numbers.empty() ? "" : ",").append(address);
    if (numbers.empty()) return known == m_addresses.end() ? std::string() : known->numbers;
    if (known != m_addresses.end()) m_addresses.erase(known);
    m_addresses.push_back({name, numbers, now});
    return numbers;
}

}  // namespace qsn
