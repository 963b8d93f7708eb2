#include <charconv>
#include <ctime>
#include <string>

#include "Utility/Jwt.h"
#include "Utility/MemberCrypto.h"
#include "Utility/SecretText.h"
#include "Utility/Trace.h"
#include "Utility/WipeAtEnd.h"
#include "engine/QSNThreadContext.h"
#include "protocol/MemberAuthMessages.h"
#include "protocol/ResultCodes.h"
#include "sso/ConditionalChanges.h"

namespace qsn {
namespace {

constexpr char kUnit[] = "QSNThreadContext";
// Fixed between the library and the service, for both directions.
constexpr char kInitialisationVector[] = "ZTHarborKeys";
// A token that ends within this time is renewed before it is used.
constexpr std::int64_t kLeastTimeToLive = 61;  // s

// 0 if the text is not a number of 64 bits and nothing else.
std::uint64_t Number(const std::string& text) {
    std::uint64_t number = 0;
    const char* const end = text.data() + text.size();
    const auto read = std::from_chars(text.data(), end, number);
    return read.ec == std::errc() && read.ptr == end ? number : 0;
}

}  // namespace

HRESULT QSNThreadContext::GetMemberTokenTaskCmdProc(std::string* token) {
    TraceA("GetMemberTokenTaskCmdProc");
    Renewal renewal;
    if (FAILED(GetMemberTokenFromReg(&renewal.memberToken))) return QSN_RETURN_E_NO_TOKEN;
    if (SUCCEEDED(IsMemberTokenValid(renewal.memberToken, &renewal.memberId))) {
        *token = std::move(renewal.memberToken);
        return S_OK;
    }
    const HRESULT renewed = RenewMemberToken(renewal);
    if (renewed == kTokensChanged) return TakeTokenRenewedElsewhere(renewal, token);
    if (FAILED(renewed)) return renewed;
    const HRESULT hr = GetMemberTokenFromReg(token);
    if (FAILED(hr)) TraceFailed(hr, kUnit, "GetMemberTokenFromReg(token)");
    return hr;
}

HRESULT QSNThreadContext::RenewMemberToken(Renewal& renewal) {
    const HRESULT hr = OnlineRefreshMemberToken(renewal);
    // The last two are no refusals: there are other tokens by now, or the session has ended.
    if (SUCCEEDED(hr) || hr == kTokensChanged || hr == E_ABORT) return hr;
    return RefreshWithNewPublicKey(renewal);
}

// Applications that start together find the same token near its end, and the first to renew it has done so for all. A
// token that may be another user's is not taken.
HRESULT QSNThreadContext::TakeTokenRenewedElsewhere(const Renewal& renewal, std::string* token) {
    std::string shared;
    std::uint64_t memberId = 0;
    if (FAILED(GetMemberTokenFromReg(&shared)) || FAILED(IsMemberTokenValid(shared, &memberId))) return kTokensChanged;
    if (memberId == 0 || memberId != renewal.memberId) return kTokensChanged;
    *token = std::move(shared);
    return S_OK;
}

// Once only: a service that has changed its key pair takes the second attempt, any other refusal stands.
HRESULT QSNThreadContext::RefreshWithNewPublicKey(Renewal& renewal) {
    TraceA("[ERR]GetMemberTokenTaskCmdProc refresh member token failed, calls init API to get public key again.");
    std::string strPublicKey;
    std::uint32_t nID = 0;
    HRESULT hr = OnlineInitMemberAuth(&strPublicKey, &nID);
    if (FAILED(hr)) {
        TraceFailed(hr, kUnit, "OnlineInitMemberAuth(&strPublicKey, &nID)");
        return hr;
    }
    hr = OnlineRefreshMemberToken(renewal);
    if (FAILED(hr)) TraceFailed(hr, kUnit, "OnlineRefreshMemberToken(nMemberID)");
    return hr;
}

HRESULT QSNThreadContext::IsMemberTokenValid(const std::string& token, std::uint64_t* memberId) {
    TraceA("IsMemberTokenValid\n");
    std::string strDecryptResult;
    const HRESULT decoded = DecodeJWT(token, &strDecryptResult);
    if (FAILED(decoded)) {
        TraceFailed(decoded, kUnit, "DecodeJWT(token, &strDecryptResult)");
        return decoded;
    }
    MemberTokenClaims claims;
    if (FAILED(ReadMemberTokenClaims(strDecryptResult, &claims))) {
        TraceA("IsMemberTokenValid token json parse failed.\n");
        return E_INVALIDARG;
    }
    *memberId = claims.memberId;
    if (claims.expiry < std::time(nullptr) + kLeastTimeToLive) {
        TraceA("IsMemberTokenValid: the token is invalid ");
        return E_FAIL;
    }
    TraceA("IsMemberTokenValid: the token is valid ");
    return S_OK;
}

HRESULT QSNThreadContext::OnlineInitMemberAuth(std::string* publicKey, std::uint32_t* id) {
    TraceA("OnlineInitMemberAuth\n");
    TraceA("OnlineInitMemberAuth: GenerateJSONData\n");
    // The caller may have found a key without its number, which a reply without a key must not confirm.
    publicKey->clear();
    *id = 0;
    std::string strJsonData;
    const HRESULT written = WriteMemberInitBody(m_strSID, &strJsonData);
    if (FAILED(written)) return written;
    TraceA("OnlineInitMemberAuth: CommunicateToServer\n");
    std::string strServerResponse;
    const HRESULT sent = CommunicateToMemberAuth(RequestType::kInitMemberAuth, strJsonData, &strServerResponse);
    if (FAILED(sent)) return sent;

    const HRESULT parsed = ParseMemberAuthResponse(RequestType::kInitMemberAuth, strServerResponse, id, publicKey);
    // Whatever the reply was: a key that nobody confirms any more is not kept either.
    const HRESULT stored = SetPublicKeyAndIDFromReg(*publicKey, *id);
    MemberAuthReply reply;
    ReadMemberAuthResult(strServerResponse, &reply);
    HRESULT hr = ReportMemberAuthResult(L"InitMemberAuth, Server result = ", reply);
    if (SUCCEEDED(hr)) hr = FAILED(parsed) ? parsed : stored;
    TraceA("OnlineInitMemberAuth return hr = %x\n", static_cast<unsigned>(hr));
    return hr;
}

HRESULT QSNThreadContext::OnlineRefreshMemberToken(Renewal& renewal) {
    TraceA("OnlineRefreshMemberToken\n");
    std::string strPublicKey;
    std::uint32_t nID = 0;
    HRESULT hr = ProvidePublicKey(&strPublicKey, &nID);
    if (FAILED(hr)) return hr;

    AesKey aesKey{};
    const WipeAtEnd wipeKey(aesKey);
    hr = GenerateAesKey(&aesKey);
    if (FAILED(hr)) {
        TraceFailed(hr, kUnit, "GenerateAesKey(&aesKey)");
        return hr;
    }
    std::string strEncryptedAESKey;
    hr = EncryptAESKeyByRSAKey(strPublicKey, aesKey, &strEncryptedAESKey);
    if (FAILED(hr)) {
        TraceFailed(hr, kUnit, "EncryptAESKeyByRSAKey(strPublicKey, aesKey, &strEncryptedAESKey)");
        return hr;
    }
    std::string strEncryptResult;
    hr = EncryptRefreshSecret(aesKey, renewal, &strEncryptResult);
    if (FAILED(hr)) return hr;
    std::string strJsonData;
    hr = WriteMemberRefreshBody(strEncryptedAESKey, strEncryptResult, nID, &strJsonData);
    if (FAILED(hr)) return hr;

    TraceA("OnlineRefreshMemberToken: CommunicateToServer\n");
    std::string strServerResponse;
    hr = CommunicateToMemberAuth(RequestType::kRefreshMemberToken, strJsonData, &strServerResponse);
    if (FAILED(hr)) return hr;
    MemberAuthReply reply;
    ReadMemberAuthResult(strServerResponse, &reply);
    if (reply.result == 0) {
        hr = StoreRenewedToken(renewal, aesKey, strServerResponse);
        if (FAILED(hr)) return hr;
    }
    hr = ReportMemberAuthResult(L"RefreshMemberToken, Server result = ", reply);
    TraceA("OnlineRefreshMemberToken return hr = %x\n", static_cast<unsigned>(hr));
    return hr;
}

HRESULT QSNThreadContext::ProvidePublicKey(std::string* publicKey, std::uint32_t* id) {
    if (SUCCEEDED(GetPublicKeyAndIDFromReg(publicKey, id))) {
        TraceA("OnlineRefreshMemberToken public key is exist.\n");
        return S_OK;
    }
    const HRESULT hr = OnlineInitMemberAuth(publicKey, id);
    if (FAILED(hr)) TraceFailed(hr, kUnit, "OnlineInitMemberAuth(&strPublicKey, &nID)");
    return hr;
}

HRESULT QSNThreadContext::EncryptRefreshSecret(const AesKey& aesKey, Renewal& renewal, std::string* encrypted) {
    HRESULT hr = GetRefreshTokenFromReg(&renewal.refreshToken);
    if (FAILED(hr)) {
        TraceFailed(hr, kUnit, "GetRefreshTokenFromReg(&strRefreshToken)");
        return hr;
    }
    hr = LearnMemberId(renewal.memberId);
    if (FAILED(hr)) return hr;
    // The public key may have taken so long that another user has signed in, and this is that user's refresh token.
    if (!IsSharedMemberToken(renewal.memberToken)) return kTokensChanged;
    std::string jsonData;
    const WipeAtEnd wipeData(jsonData);
    hr = WriteMemberRefreshSecret(renewal.refreshToken.Text(),
                                  renewal.memberId != 0 ? renewal.memberId : Number(m_strMemberId), &jsonData);
    if (FAILED(hr)) return hr;
    hr = EncryptByAESKey(aesKey, kInitialisationVector, jsonData, encrypted);
    if (FAILED(hr)) {
        TraceFailed(hr, kUnit, "EncryptByAESKey(aesKey, AUTH_IV_STRING, jsonData, &strEncryptResult)");
    }
    return hr;
}

HRESULT QSNThreadContext::LearnMemberId(std::uint64_t memberId) {
    if (memberId != 0 || !m_strMemberId.empty()) return S_OK;
    TraceA("[ERR]OnlineRefreshMemberToken local and member token's id is None.\n");
    UniqueCom<IQSNUserInfo> userInfo;
    const HRESULT hr = OnlineGetUserInfo(&userInfo);
    if (FAILED(hr)) TraceFailed(hr, kUnit, "OnlineGetUserInfo(&spUserInfo)");
    return hr;
}

HRESULT QSNThreadContext::CommunicateToMemberAuth(RequestType type, const std::string& strJsonData,
                                                  std::string* strServerResponse) {
    const std::string serverapi = GetServerURL(type, m_nUseTestbed != 0, m_strMemberId);
    TraceA("Start to communicate to Server\n");
    std::string strToken;
    std::string strDigest;
    const HRESULT hr = CommunicateToServer(strJsonData, strServerResponse, &strToken, &strDigest, serverapi, true);
    if (FAILED(hr)) {
        TraceFailed(hr, kUnit,
                    "CommunicateToServer(strJsonData, &strServerResponse, &strToken, &strDigest, serverapi, TRUE)");
    }
    return hr;
}

HRESULT QSNThreadContext::StoreRenewedToken(const Renewal& renewal, const AesKey& aesKey,
                                            const std::string& strServerResponse) {
    std::string strInfo;
    std::uint32_t unused = 0;
    HRESULT hr = ParseMemberAuthResponse(RequestType::kRefreshMemberToken, strServerResponse, &unused, &strInfo);
    if (FAILED(hr)) return hr;
    std::string strDecryptResult;
    const WipeAtEnd wipeText(strDecryptResult);
    hr = DecryptByAESKey(aesKey, kInitialisationVector, strInfo, &strDecryptResult);
    if (FAILED(hr)) {
        TraceFailed(hr, kUnit, "DecryptByAESKey(aesKey, AUTH_IV_STRING, *strInfo, &strDecryptResult)");
        return hr;
    }
    hr = SetMemberToken(renewal, strDecryptResult);
    if (FAILED(hr)) TraceFailed(hr, kUnit, "SetMemberToken(strDecryptResult)");
    return hr;
}

HRESULT QSNThreadContext::SetMemberToken(const Renewal& renewal, const std::string& text) {
    TraceA("SetMemberToken\n");
    std::string token;
    const HRESULT read = ReadRenewedMemberToken(text, &token);
    if (FAILED(read)) {
        TraceA("SetMemberToken: Failed to parse json.\n");
        return read;
    }
    if (token.empty()) {
        TraceA("SetMemberToken: Failed to get memberToken.\n");
        return E_FAIL;
    }
    return ReplaceMemberToken(renewal.memberToken, renewal.refreshToken.Text(), token);
}

// The host gets the text of the message through a pointer to non-const.
HRESULT QSNThreadContext::ReportMemberAuthResult(const wchar_t* label, MemberAuthReply& reply) {
    const std::wstring line = label + std::to_wstring(reply.result) + L"\n";
    TraceW(L"%s", line.c_str());
    m_usageLog.Log(line.c_str());
    const HRESULT hr = ServerResult2HRESULT(reply.result);
    if (!reply.additionalMessage.empty()) {
        DoCallback(QSN_ACTION_NOTIFY, QSN_NOTIFY_SERVICE_MESSAGE, reply.additionalMessage.data());
    }
    return hr;
}

}  // namespace qsn
