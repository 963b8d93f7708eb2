#include "sso/SharedValues.h"

#include <algorithm>

#include "Utility/Win32Owners.h"
#include "sso/SharedValuesLock.h"

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
    const SharedValuesLock lock;
    UniqueRegistryKey key;
    const LSTATUS opened = OpenToWrite(&key);
    if (opened != ERROR_SUCCESS) return opened;
    return RegSetValueExA(key.Get(), name, 0, type, static_cast<const BYTE*>(data), size);
}

// Reads into `data` in one call. `size`: the buffer's, then the value's. `found` is false, with ERROR_SUCCESS, if there
// is no value of `type` that fits.
LSTATUS Read(const char* name, DWORD type, void* data, DWORD* size, bool* found) {
    UniqueRegistryKey key;
    DWORD actualType = REG_NONE;
    LSTATUS status = OpenToRead(&key);
    if (status == ERROR_SUCCESS) {
        status = RegQueryValueExA(key.Get(), name, nullptr, &actualType, static_cast<BYTE*>(data), size);
    }
    *found = status == ERROR_SUCCESS && actualType == type;
    return status == ERROR_FILE_NOT_FOUND || status == ERROR_MORE_DATA ? ERROR_SUCCESS : status;
}

}  // namespace

LSTATUS ReadSharedText(const char* name, DWORD capacity, std::optional<std::string>* text) {
    text->reset();
    std::string buffer(capacity, '\0');
    DWORD size = capacity;
    bool found = false;
    const LSTATUS status = Read(name, REG_SZ, buffer.data(), &size, &found);
    if (found) *text = buffer.substr(0, std::min<std::size_t>(buffer.find('\0'), size));
    return status;
}

LSTATUS ReadSharedNumber(const char* name, std::optional<std::uint32_t>* number) {
    number->reset();
    std::uint32_t value = 0;
    DWORD size = sizeof(value);
    bool found = false;
    const LSTATUS status = Read(name, REG_DWORD, &value, &size, &found);
    if (found && size == sizeof(value)) *number = value;
    return status;
}

LSTATUS WriteSharedText(const char* name, std::string_view text) {
    // The suite stores its texts without a terminator. The system adds one if it sees a NUL behind the data. The
    // longest text would then no longer fit its readers' buffers, so another character stands there.
    const std::string guarded = std::string(text) + '\n';
    return Write(name, REG_SZ, guarded.data(), static_cast<DWORD>(text.size()));
}

LSTATUS WriteSharedNumber(const char* name, std::uint32_t number) {
    return Write(name, REG_DWORD, &number, sizeof(number));
}

LSTATUS DeleteSharedValue(const char* name) {
    const SharedValuesLock lock;
    UniqueRegistryKey key;
    const LSTATUS opened = OpenToWrite(&key);
    if (opened != ERROR_SUCCESS) return opened;
    const LSTATUS deleted = RegDeleteValueA(key.Get(), name);
    return deleted == ERROR_FILE_NOT_FOUND ? ERROR_SUCCESS : deleted;
}

LSTATUS DeleteSharedText(const char* name, DWORD capacity, const std::string& expected) {
    const SharedValuesLock lock;
    std::optional<std::string> text;
    const LSTATUS read = ReadSharedText(name, capacity, &text);
    return read == ERROR_SUCCESS && text == expected ? DeleteSharedValue(name) : read;
}

}  // namespace qsn
