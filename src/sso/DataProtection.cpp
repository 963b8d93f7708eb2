#include "sso/DataProtection.h"

#include <windows.h>

#include <dpapi.h>
#include <wincrypt.h>

namespace qsn {
namespace {

// What the system hands out. It is wiped, because it may be plain text.
class SystemBlob {
public:
    SystemBlob() = default;
    SystemBlob(const SystemBlob&) = delete;
    SystemBlob& operator=(const SystemBlob&) = delete;
    ~SystemBlob() {
        if (!m_blob.pbData) return;
        SecureZeroMemory(m_blob.pbData, m_blob.cbData);
        LocalFree(m_blob.pbData);
    }

    DATA_BLOB* Receive() noexcept { return &m_blob; }
    std::span<const std::uint8_t> Bytes() const noexcept { return {m_blob.pbData, m_blob.cbData}; }

private:
    DATA_BLOB m_blob{0, nullptr};
};

// The system takes its input through a pointer to non-const, but does not change it.
DATA_BLOB Input(const void* data, std::size_t size) {
    return {static_cast<DWORD>(size), static_cast<BYTE*>(const_cast<void*>(data))};
}

}  // namespace

std::optional<std::vector<std::uint8_t>> ProtectForMachine(std::string_view text) {
    DATA_BLOB plain = Input(text.data(), text.size());
    SystemBlob encrypted;
    if (!CryptProtectData(&plain, nullptr, nullptr, nullptr, nullptr, CRYPTPROTECT_LOCAL_MACHINE, encrypted.Receive()))
        return std::nullopt;
    return std::vector<std::uint8_t>(encrypted.Bytes().begin(), encrypted.Bytes().end());
}

DWORD Unprotect(std::span<const std::uint8_t> bytes, SecretText* text) {
    DATA_BLOB encrypted = Input(bytes.data(), bytes.size());
    SystemBlob plain;
    if (!CryptUnprotectData(&encrypted, nullptr, nullptr, nullptr, nullptr, 0, plain.Receive())) {
        const DWORD error = GetLastError();
        return error != ERROR_SUCCESS ? error : ERROR_GEN_FAILURE;
    }
    *text = SecretText({reinterpret_cast<const char*>(plain.Bytes().data()), plain.Bytes().size()});
    return ERROR_SUCCESS;
}

bool IsFaultOfTheData(DWORD unprotectError) {
    switch (unprotectError) {
        case ERROR_INVALID_DATA:
        case ERROR_INVALID_PARAMETER:  // shorter than it says it is
        case static_cast<DWORD>(NTE_BAD_DATA):
        case static_cast<DWORD>(NTE_BAD_HASH):
        case static_cast<DWORD>(NTE_BAD_KEY):
        case static_cast<DWORD>(NTE_BAD_KEY_STATE):  // another machine's
        case static_cast<DWORD>(NTE_BAD_LEN):
        case static_cast<DWORD>(NTE_BAD_VER): return true;
        default: return false;
    }
}

}  // namespace qsn
