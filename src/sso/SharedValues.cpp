#include "sso/SharedValues.h"

#include "Utility/Win32Owners.h"

namespace qsn {
namespace {

constexpr char kKeyName[] = "Software\\Quillfern\\QSN";

LSTATUS OpenToRead(UniqueRegistryKey* key) {
    return RegOpenKeyExA(HKEY_CURRENT_USER, kKeyName, 0, KEY_READ, key->Receive());
}

LSTATUS OpenToWrite(UniqueRegistryKey* key) {
    if (RegOpenKeyExA(HKEY_CURRENT_USER, kKeyName, 0, KEY_WRITE, key->Receive()) == ERROR_SUCCESS) return ERROR_SUCCESS;
    return RegCreateKeyExA(HKEY_CURRENT_USER, kKeyName, 0, nullptr, REG_OPTION_NON_VOLATILE, KEY_WRITE, nullptr,
                           key->Receive(), nullptr);
}

LSTATUS Write(const char* name, DWORD type, const void* data, DWORD size) {
    UniqueRegistryKey key;
    const LSTATUS opened = OpenToWrite(&key);
    if (opened != ERROR_SUCCESS) return opened;
    return RegSetValueExA(key.Get(), name, 0, type, static_cast<const BYTE*>(data), size);
}

// Reads into `data` in one call; false unless the value is of `type`. `size`: the buffer's, then the value's.
bool Read(const char* name, DWORD type, void* data, DWORD* size) {
    UniqueRegistryKey key;
    if (OpenToRead(&key) != ERROR_SUCCESS) return false;
    DWORD actualType = REG_NONE;
    const LSTATUS status = RegQueryValueExA(key.Get(), name, nullptr, &actualType, static_cast<BYTE*>(data), size);
    return status == ERROR_SUCCESS && actualType == type;
}

}  // namespace

std::optional<std::string> ReadSharedText(const char* name, DWORD capacity) {
    std::string text(capacity, '\0');
    DWORD size = capacity;
    if (!Read(name, REG_SZ, text.data(), &size)) return std::nullopt;
    text.resize(size);
    return text.substr(0, text.find('\0'));
}

std::optional<std::uint32_t> ReadSharedNumber(const char* name) {
    std::uint32_t number = 0;
    DWORD size = sizeof(number);
    if (!Read(name, REG_DWORD, &number, &size) || size != sizeof(number)) return std::nullopt;
    return number;
}

LSTATUS WriteSharedText(const char* name, std::string_view text) {
    // The suite stores its texts without a terminator. The system adds one where it sees a NUL behind the data, and the
    // longest text would then no longer fit its readers' buffers, so something else stands there.
    const std::string guarded = std::string(text) + '\n';
    return Write(name, REG_SZ, guarded.data(), static_cast<DWORD>(text.size()));
}

LSTATUS WriteSharedNumber(const char* name, std::uint32_t number) {
    return Write(name, REG_DWORD, &number, sizeof(number));
}

LSTATUS DeleteSharedValue(const char* name) {
    UniqueRegistryKey key;
    const LSTATUS opened = OpenToWrite(&key);
    if (opened != ERROR_SUCCESS) return opened;
    const LSTATUS deleted = RegDeleteValueA(key.Get(), name);
    return deleted == ERROR_FILE_NOT_FOUND ? ERROR_SUCCESS : deleted;
}

}  // namespace qsn
