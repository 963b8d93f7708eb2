#include <windows.h>

#include <dpapi.h>
#include <wincrypt.h>

#include <array>
#include <memory>
#include <string>

#include "Rows.h"
#include "Sections.h"
#include "Utility/Deleter.h"
#include "Utility/Win32Owners.h"
#include "sso/TokenStore.h"

namespace qsn::bench {
namespace {

constexpr char kKeyName[] = "Software\\Quillfern\\QSN";

void ReadBare() {
    std::array<BYTE, 2048> data{};
    DWORD size = data.size();
    UniqueRegistryKey key;
    RegOpenKeyExA(HKEY_CURRENT_USER, kKeyName, 0, KEY_READ, key.Receive());
    RegQueryValueExA(key.Get(), "mTok", nullptr, nullptr, data.data(), &size);
}

void WriteBare(const std::string& token) {
    DATA_BLOB plain{static_cast<DWORD>(token.size()), reinterpret_cast<BYTE*>(const_cast<char*>(token.data()))};
    DATA_BLOB sealed{};
    CryptProtectData(&plain, nullptr, nullptr, nullptr, nullptr, CRYPTPROTECT_LOCAL_MACHINE, &sealed);
    const std::unique_ptr<BYTE, Deleter<LocalFree>> owner(sealed.pbData);
    UniqueRegistryKey key;
    RegOpenKeyExA(HKEY_CURRENT_USER, kKeyName, 0, KEY_WRITE, key.Receive());
    RegSetValueExA(key.Get(), "rTok", 0, REG_SZ, sealed.pbData, sealed.cbData);
}

std::shared_ptr<TokenStore> FilledStore() {
    auto store = std::make_shared<TokenStore>();
    store->SetMemberToken(std::string(600, 'm'));
    store->SetRefreshToken(std::string(200, 'r'));
    return store;
}

Pair<Step> Reading() {
    return {[store = FilledStore()] { store->GetMemberToken(); }, ReadBare};
}

Pair<Step> Writing() {
    const std::string token(200, 'r');
    return {[store = FilledStore(), token] { store->SetRefreshToken(token); }, [token] { WriteBare(token); }};
}

}  // namespace

void AddStoreRows() {
    AddPair({"store-read", "`GetMemberToken`", "the registry calls", "open, query, close", 1.2}, {}, Reading);
    AddPair({"store-write", "`SetRefreshToken`", "the DPAPI and registry calls", "protect, open, set, close", 1.2}, {},
            Writing);
}

}  // namespace qsn::bench
