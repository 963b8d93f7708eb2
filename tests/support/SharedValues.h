#pragma once

#include <windows.h>

#include <dpapi.h>
#include <wincrypt.h>

#include <optional>
#include <string>
#include <string_view>

namespace qsn::test {

// The user's values that the suite's applications share, as any other program sees them: raw, without the library.
class SharedValues {
public:
    struct Raw {
        DWORD type = REG_NONE;
        std::string data;

        bool operator==(const Raw& other) const { return type == other.type && data == other.data; }
    };

    SharedValues() { Clear(); }
    SharedValues(const SharedValues&) = delete;
    SharedValues& operator=(const SharedValues&) = delete;
    ~SharedValues() { Clear(); }

    static void Clear() {
        for (const char* name : {"SSO", "mTok", "rTok", "pubK", "pubID"}) Delete(name);
    }
    static void Delete(const char* name) { RegDeleteKeyValueA(HKEY_CURRENT_USER, kKey, name); }
    static bool Has(const char* name) { return Read(name).has_value(); }

    static std::optional<Raw> Read(const char* name) {
        HKEY key = nullptr;
        if (RegOpenKeyExA(HKEY_CURRENT_USER, kKey, 0, KEY_READ, &key) != ERROR_SUCCESS) return std::nullopt;
        Raw raw{REG_NONE, std::string(8192, '\0')};
        DWORD size = 8192;
        const LSTATUS status =
            RegQueryValueExA(key, name, nullptr, &raw.type, reinterpret_cast<BYTE*>(raw.data.data()), &size);
        RegCloseKey(key);
        if (status != ERROR_SUCCESS) return std::nullopt;
        raw.data.resize(size);
        return raw;
    }
    // Exactly as it is given. The system looks for a terminator behind the data and adds none either.
    static void Write(const char* name, std::string_view data, DWORD type = REG_SZ) {
        HKEY key = nullptr;
        RegCreateKeyExA(HKEY_CURRENT_USER, kKey, 0, nullptr, 0, KEY_WRITE, nullptr, &key, nullptr);
        const std::string guarded = std::string(data) + '!';
        RegSetValueExA(key, name, 0, type, reinterpret_cast<const BYTE*>(guarded.data()),
                       static_cast<DWORD>(data.size()));
        RegCloseKey(key);
    }

    // As another application writes a token.
    static void WriteToken(const char* name, std::string_view token) { Write(name, Base64Lines(token)); }
    static void WriteProtected(const char* name, std::string_view token) {
        const std::string copy(token);
        DATA_BLOB plain = {static_cast<DWORD>(copy.size()), reinterpret_cast<BYTE*>(const_cast<char*>(copy.data()))};
        DATA_BLOB blob = {};
        CryptProtectData(&plain, nullptr, nullptr, nullptr, nullptr, CRYPTPROTECT_LOCAL_MACHINE, &blob);
        WriteToken(name, {reinterpret_cast<const char*>(blob.pbData), blob.cbData});
        LocalFree(blob.pbData);
    }

    static std::string Base64Lines(std::string_view bytes) {
        static constexpr char kDigits[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
        std::string text;
        for (std::size_t i = 0; i < bytes.size(); i += 3) {
            if (i != 0 && i % 57 == 0) text += "\r\n";
            unsigned bits = 0;
            for (std::size_t k = 0; k < 3; ++k) {
                bits = bits * 256 + (i + k < bytes.size() ? static_cast<unsigned char>(bytes[i + k]) : 0);
            }
            for (std::size_t k = 0; k < 4; ++k) {
                text += k > bytes.size() - i ? '=' : kDigits[bits >> (6 * (3 - k)) & 63];
            }
        }
        return text;
    }

    // What a protected value holds. Nothing if it cannot be decrypted or is not in lines of 76.
    static std::optional<std::string> Decrypt(const char* name) {
        const std::optional<Raw> raw = Read(name);
        if (!raw || raw->type != REG_SZ) return std::nullopt;
        std::string bytes(raw->data.size(), '\0');
        DWORD size = static_cast<DWORD>(bytes.size());
        if (!CryptStringToBinaryA(raw->data.data(), static_cast<DWORD>(raw->data.size()), CRYPT_STRING_BASE64,
                                  reinterpret_cast<BYTE*>(bytes.data()), &size, nullptr, nullptr)) {
            return std::nullopt;
        }
        if (Base64Lines(std::string_view(bytes).substr(0, size)) != raw->data) return std::nullopt;
        DATA_BLOB encrypted = {size, reinterpret_cast<BYTE*>(bytes.data())};
        DATA_BLOB plain = {};
        if (!CryptUnprotectData(&encrypted, nullptr, nullptr, nullptr, nullptr, 0, &plain)) return std::nullopt;
        std::string text(reinterpret_cast<const char*>(plain.pbData), plain.cbData);
        LocalFree(plain.pbData);
        return text;
    }

private:
    static constexpr char kKey[] = "Software\\Quillfern\\QSN";
};

}  // namespace qsn::test
