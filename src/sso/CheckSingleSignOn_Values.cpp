#include <mutex>
#include <optional>
#include <span>
#include <utility>

#include "Utility/Guard.h"
#include "Utility/Trace.h"
#include "Utility/WipeAtEnd.h"
#include "sso/CheckSingleSignOn.h"
#include "sso/DataProtection.h"
#include "sso/SharedValues.h"
#include "sso/SharedValuesLock.h"
#include "sso/TokenText.h"

namespace qsn {
namespace {

constexpr char kSignOnValue[] = "SSO";
constexpr char kMemberValue[] = "mTok";
constexpr char kRefreshValue[] = "rTok";
constexpr char kPublicKeyValue[] = "pubK";
constexpr char kPublicIDValue[] = "pubID";

// Encoded, in the registry, and decoded, in the buffers of whoever reads them.
constexpr std::uint32_t kSignOnTextCapacity = 1024;
constexpr std::uint32_t kTextCapacity = 2048;
constexpr std::uint32_t kSignOnTokenSize = 260;
constexpr std::uint32_t kTokenSize = 2048;

std::string_view UpToNul(std::string_view text) { return text.substr(0, text.find('\0')); }

std::span<const std::uint8_t> BytesOf(std::string_view text) {
    return {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()};
}

HRESULT WriteEncoded(const char* name, std::span<const std::uint8_t> bytes, std::uint32_t capacity) {
    const std::optional<std::string> text = EncodeTokenText(bytes, capacity);
    return text ? WriteSharedText(name, *text) : E_INVALIDARG;
}

HRESULT WriteProtected(const char* name, std::string_view text) {
    const std::optional<std::vector<std::uint8_t>> bytes = ProtectForMachine(text);
    if (!bytes) {
        TraceA("[CheckSingleSignOn] CryptProtectData error!!\n");
        return E_UNEXPECTED;
    }
    return WriteEncoded(name, *bytes, kTextCapacity);
}

// S_FALSE where there is no text.
HRESULT ReadText(const char* name, std::uint32_t capacity, std::optional<std::string>* text) {
    const LSTATUS status = ReadSharedText(name, capacity, text);
    if (status == ERROR_SUCCESS) return *text ? S_OK : S_FALSE;
    TraceA("[CheckSingleSignOn] reading %s failed, error = %d\n", name, static_cast<int>(status));
    return HRESULT_FROM_WIN32(status);
}

template <class Token>
HRESULT ReadEncoded(const char* name, std::uint32_t capacity, std::uint32_t tokenSize, Token* token) {
    *token = Token();
    std::optional<std::string> text;
    const HRESULT hr = ReadText(name, capacity, &text);
    if (hr != S_OK) return hr;
    std::vector<std::uint8_t> bytes = DecodeTokenText(*text, tokenSize);
    const WipeAtEnd wipeBytes(bytes);
    *token = Token(TokenIn(bytes, tokenSize));
    return TokenIn(bytes, tokenSize).empty() ? S_FALSE : S_OK;
}

// What cannot be decrypted is of no use to anybody any more, and goes. What could not be decrypted just now stays.
HRESULT ReadProtected(const char* name, const char* failedTrace, SecretText* plainText) {
    *plainText = SecretText();
    std::optional<std::string> text;
    const HRESULT hr = ReadText(name, kTextCapacity, &text);
    if (hr != S_OK) return hr;
    const std::vector<std::uint8_t> bytes = DecodeTokenText(*text, kTokenSize);
    if (bytes.empty()) return S_FALSE;
    SecretText plain;
    const DWORD error = Unprotect(bytes, &plain);
    if (error != ERROR_SUCCESS) {
        TraceA("%s", failedTrace);
        if (!IsFaultOfTheData(error)) return HRESULT_FROM_WIN32(error);
        DeleteSharedText(name, kTextCapacity, *text);
        return S_FALSE;
    }
    *plainText = SecretText(TokenIn(BytesOf(plain.Text()), kTokenSize));
    return plainText->IsEmpty() ? S_FALSE : S_OK;
}

HRESULT ReadMemberToken(std::string* token) {
    const HRESULT hr = Guarded([&] { return ReadEncoded(kMemberValue, kTextCapacity, kTokenSize, token); });
    if (hr == S_FALSE) TraceA("[ERR] GetMemberToken SS_STATUS_NOT_EXIST\n");
    return hr;
}

HRESULT ReadRefreshToken(SecretText* token) {
    const HRESULT hr = Guarded(
        [&] { return ReadProtected(kRefreshValue, "[CheckSingleSignOn] CryptUnprotectData error!!\n", token); });
    if (hr == S_FALSE) TraceA("[ERR] GetRefreshToken SS_STATUS_NOT_EXIST\n");
    return hr;
}

// Unknown where nobody could look: such a token has not gone.
StoreStatus StatusOf(HRESULT readResult) {
    if (FAILED(readResult)) return StoreStatus::kUnknown;
    return readResult == S_OK ? StoreStatus::kExists : StoreStatus::kNotExist;
}

}  // namespace

HRESULT CheckSingleSignOn::SetSingleSignOnToken(std::string_view token) {
    const std::lock_guard lock(m_storeLock);
    return Guarded([&] {
        const SecretText text(UpToNul(token));
        TraceA("SetSingleSignOnToken: %s", text.IsEmpty() ? "NULL" : text.Text().c_str());
        const HRESULT hr = text.IsEmpty() ? DeleteSharedValue(kSignOnValue)
                                          : WriteEncoded(kSignOnValue, BytesOf(text.Text()), kSignOnTextCapacity);
        if (hr == S_OK) m_signOn.status = text.IsEmpty() ? StoreStatus::kNotExist : StoreStatus::kExists;
        return hr;
    });
}

HRESULT CheckSingleSignOn::SetMemberToken(std::string_view token) {
    const std::lock_guard lock(m_storeLock);
    return Guarded([&] {
        const std::string text(UpToNul(token));
        TraceA("SetMemberToken: %s", text.empty() ? "NULL" : text.c_str());
        if (text.empty()) {
            const HRESULT hr = DeleteSharedValue(kMemberValue);
            if (hr == S_OK) m_member.Forget();
            return hr;
        }
        const HRESULT hr = WriteEncoded(kMemberValue, BytesOf(text), kTextCapacity);
        if (hr == S_OK) m_member.Remember(text);
        return hr;
    });
}

HRESULT CheckSingleSignOn::SetRefreshToken(std::string_view token) {
    const std::lock_guard lock(m_storeLock);
    return Guarded([&] {
        const std::string_view text = UpToNul(token);
        if (text.empty()) {
            TraceA("SetRefreshToken: NULL");
            const HRESULT hr = DeleteSharedValue(kRefreshValue);
            if (hr == S_OK) m_refresh.Forget();
            return hr;
        }
        const HRESULT hr = WriteProtected(kRefreshValue, text);
        if (hr == S_OK) m_refresh.Remember(text);
        return hr;
    });
}

HRESULT CheckSingleSignOn::SetPublicKey(std::string_view key) {
    const std::lock_guard lock(m_storeLock);
    return Guarded([&] {
        const std::string_view text = UpToNul(key);
        if (!text.empty()) return WriteProtected(kPublicKeyValue, text);
        TraceA("SetPublicKey: NULL");
        return HRESULT{DeleteSharedValue(kPublicKeyValue)};
    });
}

HRESULT CheckSingleSignOn::SetPublicID(std::uint32_t id) {
    const std::lock_guard lock(m_storeLock);
    return WriteSharedNumber(kPublicIDValue, id);
}

HRESULT CheckSingleSignOn::GetSingleSignOnToken(SecretText* token, StoreStatus* status) {
    if (!token || !status) return E_INVALIDARG;
    const std::lock_guard lock(m_storeLock);
    const HRESULT hr = Guarded([&] { return ReadEncoded(kSignOnValue, kSignOnTextCapacity, kSignOnTokenSize, token); });
    *status = StatusOf(hr);
    if (m_signOn.status == StoreStatus::kUnknown) m_signOn.status = *status;
    return hr;
}

HRESULT CheckSingleSignOn::GetMemberToken(std::string* token, StoreStatus* status) {
    if (!token || !status) return E_INVALIDARG;
    const std::lock_guard lock(m_storeLock);
    const HRESULT hr = ReadMemberToken(token);
    *status = StatusOf(hr);
    m_member.NoteFirstLook(*status, *token);
    return hr;
}

HRESULT CheckSingleSignOn::GetRefreshToken(SecretText* token, StoreStatus* status) {
    if (!token || !status) return E_INVALIDARG;
    const std::lock_guard lock(m_storeLock);
    const HRESULT hr = ReadRefreshToken(token);
    *status = StatusOf(hr);
    m_refresh.NoteFirstLook(*status, token->Text());
    return hr;
}

HRESULT CheckSingleSignOn::GetTokensSeenBefore(std::string* member, SecretText* refresh) {
    const std::lock_guard lock(m_storeLock);
    HRESULT hr = ReadMemberToken(member);
    if (SUCCEEDED(hr)) hr = ReadRefreshToken(refresh);
    if (FAILED(hr)) return hr;
    if (!m_member.Knows(*member)) member->clear();
    if (!m_refresh.Knows(refresh->Text())) *refresh = SecretText();
    return S_OK;
}

void CheckSingleSignOn::ClearTokensSeenBefore() {
    const std::lock_guard lock(m_storeLock);
    const SharedValuesLock changesLock;
    std::string member;
    SecretText refresh;
    const HRESULT memberRead = ReadMemberToken(&member);
    const HRESULT refreshRead = ReadRefreshToken(&refresh);
    // What went along with the sign-on token is no news of its own.
    if (memberRead == S_FALSE) m_member.Forget();
    if (refreshRead == S_FALSE) m_refresh.Forget();
    if (m_member.Knows(member)) SetMemberToken({});
    if (m_refresh.Knows(refresh.Text())) SetRefreshToken({});
}

std::optional<std::string> CheckSingleSignOn::EncryptedRefreshToken() {
    std::optional<std::string> text;
    ReadSharedText(kRefreshValue, kTextCapacity, &text);
    return text;
}

HRESULT CheckSingleSignOn::GetPublicKey(std::string* key) {
    if (!key) return E_INVALIDARG;
    const std::lock_guard lock(m_storeLock);
    return Guarded([&]() -> HRESULT {
        SecretText plain;
        const HRESULT hr = ReadProtected(kPublicKeyValue, "[ERR] GetPublicKey decrypt failed.\n", &plain);
        *key = plain.Text();
        if (hr != S_FALSE) return hr;
        TraceA("[ERR] GetPublicKey SS_STATUS_NOT_EXIST\n");
        return E_FAIL;
    });
}

HRESULT CheckSingleSignOn::GetPublicID(std::uint32_t* id) {
    if (!id) return E_INVALIDARG;
    const std::lock_guard lock(m_storeLock);
    std::optional<std::uint32_t> number;
    const LSTATUS status = ReadSharedNumber(kPublicIDValue, &number);
    if (status != ERROR_SUCCESS) return HRESULT_FROM_WIN32(status);
    if (!number) {
        TraceA("[ERR] GetPublicID key is not exist.\n");
        return E_FAIL;
    }
    *id = *number;
    return S_OK;
}

}  // namespace qsn
