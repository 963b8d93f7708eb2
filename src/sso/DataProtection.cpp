#include "sso/DataProtection.h"

#include <windows.h>

#include <dpapi.h>
#include <wincrypt.h>

namespace qsn {
namespace {

// What the system hands out. Wiped, since it may be plain text.
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

// The system takes its input through a pointer to non-const and leaves it alone.
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

std::optional<SecretText> Unprotect(std::span<const std::uint8_t> bytes) {
    DATA_BLOB encrypted = Input(bytes.data(), bytes.size());
    SystemBlob plain;
    if (bytes.empty() || !CryptUnprotectData(&encrypted, nullptr, nullptr, nullptr, nullptr, 0, plain.Receive()))
        return std::nullopt;
    return SecretText({reinterpret_cast<const char*>(plain.Bytes().data()), plain.Bytes().size()});
}

}  // namespace qsn
