#include <cstring>
#include <mutex>
#include <string_view>

#include "Utility/Trace.h"
#include "lib/PVQSNLib.h"

namespace qsn {
namespace {

// The host's length counts, but a token also ends at its terminator: hosts pass the size of a larger buffer too.
std::string_view TokenOf(const void* data, uint32_t length) {
    const auto* const text = static_cast<const char*>(data);
    return text ? std::string_view(text, strnlen(text, length)) : std::string_view();
}

void TraceTokenSet(const char* item, const void* data, uint32_t length) {
    TraceA("%s: %s, length = %d\n", item, data ? std::string(TokenOf(data, length)).c_str() : "NULL",
           static_cast<int>(length));
}

// A size query counts the terminator. The length of a copied text does not, and neither does the trace line, although a
// buffer of the size that it names is still too small.
HRESULT HandOut(const char* item, std::string_view token, void* data, uint32_t* length) {
    const auto tokenLength = static_cast<uint32_t>(token.size());
    if (!data) {
        *length = tokenLength + 1;
        return S_OK;
    }
    if (*length <= tokenLength) {
        TraceA("%s: buffer length is too small = %d, at least: %d\n", item, static_cast<int>(*length),
               static_cast<int>(tokenLength));
        return E_INVALIDARG;
    }
    auto* const buffer = static_cast<char*>(data);
    buffer[token.copy(buffer, tokenLength)] = '\0';
    *length = tokenLength;
    return S_OK;
}

}  // namespace

HRESULT PVQSNLib::EnableSingleSignOn(void* data, uint32_t*) {
    const std::lock_guard lock(m_sourceLock);
    if (!Worker()) return QSN_RETURN_E_NOT_INITIALIZED;
    if (!data) return E_INVALIDARG;
    const uint32_t enable = *static_cast<const uint32_t*>(data);
    TraceW(L"config QSNCFG_ENABLE_SINGLE_SIGNON = %d\n", static_cast<int>(enable));
    if (enable) {
        const HRESULT hr = m_singleSignOn.Init(this);
        if (FAILED(hr)) return hr;
    } else {
        m_singleSignOn.UninitIfStarted();
    }
    m_nSingleSignOnEnabled = enable;
    return S_OK;
}

HRESULT PVQSNLib::SetMemberToken(void* data, uint32_t* length) {
    if (!length) return E_POINTER;
    TraceTokenSet("QSNCFG_SET_MEMBER_TOKEN", data, *length);
    return m_singleSignOn.SetMemberToken(TokenOf(data, *length));
}

HRESULT PVQSNLib::SetRefreshToken(void* data, uint32_t* length) {
    if (!length) return E_POINTER;
    TraceTokenSet("QSNCFG_SET_REFRESH_TOKEN", data, *length);
    return m_singleSignOn.SetRefreshToken(TokenOf(data, *length));
}

HRESULT PVQSNLib::GetMemberToken(void* data, uint32_t* length) {
    if (!length) {
        TraceA("QSNCFG_GET_MEMBER_TOKEN: no buflen provided\n");
        return E_INVALIDARG;
    }
    const StoredTokens tokens = ReadStoredTokens();
    if (FAILED(tokens.memberResult)) return tokens.memberResult;
    return HandOut("QSNCFG_GET_MEMBER_TOKEN", tokens.member, data, length);
}

HRESULT PVQSNLib::GetRefreshToken(void* data, uint32_t* length) {
    if (!length) {
        TraceA("QSNCFG_GET_REFRESH_TOKEN: no buflen provided\n");
        return E_INVALIDARG;
    }
    const StoredTokens tokens = ReadStoredTokens();
    if (FAILED(tokens.refreshResult)) return tokens.refreshResult;
    return HandOut("QSNCFG_GET_REFRESH_TOKEN", tokens.refresh.Text(), data, length);
}

}  // namespace qsn
