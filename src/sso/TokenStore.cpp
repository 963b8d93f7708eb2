#include "sso/TokenStore.h"

#include <mutex>
#include <optional>
#include <span>
#include <utility>

#include "Utility/Guard.h"
#include "Utility/Trace.h"
#include "Utility/WipeAtEnd.h"
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

// Encoded in the registry, and decoded in a reader's buffers.
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

StoreReading<std::string> ReadText(const char* name, std::uint32_t capacity) {
    std::optional<std::string> text;
    const LSTATUS status = ReadSharedText(name, capacity, &text);
    if (status == ERROR_SUCCESS)
        return text ? StoreReading<std::string>{S_OK, std::move(*text)} : StoreReading<std::string>{};
    TraceA("[CheckSingleSignOn] reading %s failed, error = %d\n", name, static_cast<int>(status));
    return {HRESULT_FROM_WIN32(status)};
}

template <class Token>
StoreReading<Token> TokenOrNone(std::string_view token) {
    return token.empty() ? StoreReading<Token>{} : StoreReading<Token>{S_OK, Token(token)};
}

template <class Token>
StoreReading<Token> ReadEncoded(const char* name, std::uint32_t capacity, std::uint32_t tokenSize) {
    const StoreReading<std::string> text = ReadText(name, capacity);
    if (text.result != S_OK) return {text.result};
    std::vector<std::uint8_t> bytes = DecodeTokenText(text.value, tokenSize);
    const WipeAtEnd wipeBytes(bytes);
    return TokenOrNone<Token>(TokenIn(bytes, tokenSize));
}

// What can never be decrypted is of no use to anybody and goes. What could not be decrypted this time stays.
StoreReading<SecretText> ReadProtected(const char* name, const char* failedTrace) {
    const StoreReading<std::string> text = ReadText(name, kTextCapacity);
    if (text.result != S_OK) return {text.result};
    const std::vector<std::uint8_t> bytes = DecodeTokenText(text.value, kTokenSize);
    if (bytes.empty()) return {};
    SecretText plain;
    const DWORD error = Unprotect(bytes, &plain);
    if (error != ERROR_SUCCESS) {
        TraceA("%s", failedTrace);
        if (!IsFaultOfTheData(error)) return {HRESULT_FROM_WIN32(error)};
        DeleteSharedText(name, kTextCapacity, text.value);
        return {};
    }
    return TokenOrNone<SecretText>(TokenIn(BytesOf(plain.Text()), kTokenSize));
}

// `read`, with the line `noneTrace` if there is nothing.
template <class Value>
StoreReading<Value> Reading(const char* noneTrace, StoreReading<Value> (*read)()) {
    StoreReading<Value> reading = Guarded(read);
    if (reading.result == S_FALSE && noneTrace) TraceA("%s", noneTrace);
    return reading;
}

StoreReading<std::string> ReadMemberToken() {
    return Reading<std::string>("[ERR] GetMemberToken SS_STATUS_NOT_EXIST\n",
                                [] { return ReadEncoded<std::string>(kMemberValue, kTextCapacity, kTokenSize); });
}

StoreReading<SecretText> ReadRefreshToken() {
    return Reading<SecretText>("[ERR] GetRefreshToken SS_STATUS_NOT_EXIST\n", [] {
        return ReadProtected(kRefreshValue, "[CheckSingleSignOn] CryptUnprotectData error!!\n");
    });
}

}  // namespace

HRESULT TokenStore::SetSingleSignOnToken(std::string_view token) {
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

HRESULT TokenStore::SetMemberToken(std::string_view token) {
    const std::lock_guard lock(m_storeLock);
    return Guarded([&] {
        const std::string text(UpToNul(token));
        TraceA("SetMemberToken: %s", text.empty() ? "NULL" : text.c_str());
        return m_member.Changed(text, text.empty() ? DeleteSharedValue(kMemberValue)
                                                   : WriteEncoded(kMemberValue, BytesOf(text), kTextCapacity));
    });
}

HRESULT TokenStore::SetRefreshToken(std::string_view token) {
    const std::lock_guard lock(m_storeLock);
    return Guarded([&] {
        const std::string_view text = UpToNul(token);
        if (!text.empty()) return m_refresh.Changed(text, WriteProtected(kRefreshValue, text));
        TraceA("SetRefreshToken: NULL");
        return m_refresh.Changed({}, DeleteSharedValue(kRefreshValue));
    });
}

HRESULT TokenStore::SetPublicKey(std::string_view key) {
    const std::lock_guard lock(m_storeLock);
    return Guarded([&] {
        const std::string_view text = UpToNul(key);
        if (!text.empty()) return WriteProtected(kPublicKeyValue, text);
        TraceA("SetPublicKey: NULL");
        return HRESULT{DeleteSharedValue(kPublicKeyValue)};
    });
}

HRESULT TokenStore::SetPublicID(std::uint32_t id) {
    const std::lock_guard lock(m_storeLock);
    return WriteSharedNumber(kPublicIDValue, id);
}

StoreReading<SecretText> TokenStore::GetSingleSignOnToken() {
    const std::lock_guard lock(m_storeLock);
    StoreReading<SecretText> token = Reading<SecretText>(
        nullptr, [] { return ReadEncoded<SecretText>(kSignOnValue, kSignOnTextCapacity, kSignOnTokenSize); });
    if (m_signOn.status == StoreStatus::kUnknown) m_signOn.status = token.Status();
    return token;
}

StoreReading<std::string> TokenStore::GetMemberToken() {
    const std::lock_guard lock(m_storeLock);
    StoreReading<std::string> token = ReadMemberToken();
    m_member.NoteFirstLook(token.Status(), token.value);
    return token;
}

StoreReading<SecretText> TokenStore::GetRefreshToken() {
    const std::lock_guard lock(m_storeLock);
    StoreReading<SecretText> token = ReadRefreshToken();
    m_refresh.NoteFirstLook(token.Status(), token.value.Text());
    return token;
}

StoreReading<std::string> TokenStore::GetPublicKey() {
    const std::lock_guard lock(m_storeLock);
    return Reading<std::string>("[ERR] GetPublicKey SS_STATUS_NOT_EXIST\n", [] {
        const StoreReading<SecretText> key = ReadProtected(kPublicKeyValue, "[ERR] GetPublicKey decrypt failed.\n");
        return StoreReading<std::string>{key.result, key.value.Text()};
    });
}

StoreReading<std::uint32_t> TokenStore::GetPublicID() {
    const std::lock_guard lock(m_storeLock);
    return Reading<std::uint32_t>("[ERR] GetPublicID key is not exist.\n", []() -> StoreReading<std::uint32_t> {
        std::optional<std::uint32_t> number;
        const LSTATUS status = ReadSharedNumber(kPublicIDValue, &number);
        if (status != ERROR_SUCCESS) return {HRESULT_FROM_WIN32(status)};
        return number ? StoreReading<std::uint32_t>{S_OK, *number} : StoreReading<std::uint32_t>{};
    });
}

TokenStore::Tokens TokenStore::GetTokensSeenBefore() {
    const std::lock_guard lock(m_storeLock);
    StoreReading<std::string> member = ReadMemberToken();
    if (FAILED(member.result)) return {member.result};
    StoreReading<SecretText> refresh = ReadRefreshToken();
    if (FAILED(refresh.result)) return {refresh.result};
    return {S_OK, m_member.Knows(member.value) ? std::move(member.value) : std::string(),
            m_refresh.Knows(refresh.value.Text()) ? std::move(refresh.value) : SecretText()};
}

void TokenStore::ClearTokensSeenBefore() {
    const std::lock_guard lock(m_storeLock);
    const SharedValuesLock changesLock;
    const StoreReading<std::string> member = ReadMemberToken();
    const StoreReading<SecretText> refresh = ReadRefreshToken();
    // What went together with the sign-on token is not news of its own.
    if (member.result == S_FALSE) m_member.Forget();
    if (refresh.result == S_FALSE) m_refresh.Forget();
    if (m_member.Knows(member.value)) SetMemberToken({});
    if (m_refresh.Knows(refresh.value.Text())) SetRefreshToken({});
}

std::optional<std::string> TokenStore::EncryptedRefreshToken() {
    std::optional<std::string> text;
    ReadSharedText(kRefreshValue, kTextCapacity, &text);
    return text;
}

HRESULT TokenStore::Seen::Changed(std::string_view token, HRESULT hr) noexcept {
    if (hr == S_OK) token.empty() ? Forget() : Remember(token);
    return hr;
}

void TokenStore::Seen::Remember(std::string_view token) noexcept {
    status = StoreStatus::kExists;
    print = TokenPrint(token);
    encrypted.reset();
}

void TokenStore::Seen::Forget() noexcept {
    status = StoreStatus::kNotExist;
    encrypted.reset();
}

void TokenStore::Seen::NoteFirstLook(StoreStatus seen, std::string_view token) noexcept {
    if (status != StoreStatus::kUnknown) return;
    if (seen == StoreStatus::kExists) Remember(token);
    if (seen == StoreStatus::kNotExist) Forget();
}

}  // namespace qsn
