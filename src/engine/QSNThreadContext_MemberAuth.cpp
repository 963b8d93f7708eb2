#include <cstdlib>
#include <ctime>
#include <string>

#include "Utility/Jwt.h"
#include "Utility/MemberCrypto.h"
#include "Utility/SecretText.h"
#include "Utility/Trace.h"
#include "Utility/WipeAtEnd.h"
#include "engine/MemberAuthMessages.h"
#include "engine/QSNThreadContext.h"
#include "engine/ResultCodes.h"

namespace qsn {
namespace {

constexpr char kUnit[] = "QSNThreadContext";
// Fixed between the library and the service, for both directions.
constexpr char kInitialisationVector[] = "ZTHarborKeys";
// A token that ends within this time is renewed before it is used.
constexpr std::int64_t kLeastTimeToLive = 61;  // s

std::int32_t Number(const std::string& text) {
    return static_cast<std::int32_t>(std::strtol(text.c_str(), nullptr, 10));
}

}  // namespace

HRESULT QSNThreadContext::GetMemberTokenTaskCmdProc(std::string* token) {
    TraceA("GetMemberTokenTaskCmdProc");
    std::string held;
    if (FAILED(GetMemberTokenFromReg(&held))) return QSN_RETURN_E_NO_TOKEN;
    std::int32_t nMemberID = 0;
    if (SUCCEEDED(IsMemberTokenValid(held, &nMemberID))) {
        *token = std::move(held);
        return S_OK;
    }
    if (FAILED(OnlineRefreshMemberToken(nMemberID))) {
        const HRESULT retried = RefreshWithNewPublicKey(nMemberID);
        if (FAILED(retried)) return retried;
    }
    const HRESULT hr = GetMemberTokenFromReg(token);
    if (FAILED(hr)) TraceFailed(hr, kUnit, "GetMemberTokenFromReg(token)");
    return hr;
}

// Once only: a service that has changed its key pair takes the second attempt, any other refusal stands.
HRESULT QSNThreadContext::RefreshWithNewPublicKey(std::int32_t nMemberID) {
    TraceA("[ERR]GetMemberTokenTaskCmdProc refresh member token failed, calls init API to get public key again.");
    std::string strPublicKey;
    std::uint32_t nID = 0;
    HRESULT hr = OnlineInitMemberAuth(&strPublicKey, &nID);
    if (FAILED(hr)) {
        TraceFailed(hr, kUnit, "OnlineInitMemberAuth(&strPublicKey, &nID)");
        return hr;
    }
    hr = OnlineRefreshMemberToken(nMemberID);
    if (FAILED(hr)) TraceFailed(hr, kUnit, "OnlineRefreshMemberToken(nMemberID)");
    return hr;
}

HRESULT QSNThreadContext::IsMemberTokenValid(const std::string& token, std::int32_t* memberId) {
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
    std::string strJsonData;
    const HRESULT written = WriteMemberInitBody(m_strSID, &strJsonData);
    if (FAILED(written)) return written;
    TraceA("OnlineInitMemberAuth: CommunicateToServer\n");
    std::string strServerResponse;
    const HRESULT sent = CommunicateToMemberAuth(RequestType::kInitMemberAuth, strJsonData, &strServerResponse);
    if (FAILED(sent)) return sent;

    const HRESULT parsed = ParseMemberAuthResponse(RequestType::kInitMemberAuth, strServerResponse, id, publicKey);
    // Whatever the reply was: a key that nobody confirms any more is not kept either.
    SetPublicKeyAndIDFromReg(*publicKey, *id);
    HRESULT hr = ReportMemberAuthResult(L"InitMemberAuth, Server result = ", strServerResponse);
    if (SUCCEEDED(hr) && FAILED(parsed)) hr = parsed;
    TraceA("OnlineInitMemberAuth return hr = %x\n", static_cast<unsigned>(hr));
    return hr;
}

HRESULT QSNThreadContext::OnlineRefreshMemberToken(std::int32_t memberId) {
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
    hr = EncryptRefreshSecret(aesKey, memberId, &strEncryptResult);
    if (FAILED(hr)) return hr;
    std::string strJsonData;
    hr = WriteMemberRefreshBody(strEncryptedAESKey, strEncryptResult, nID, &strJsonData);
    if (FAILED(hr)) return hr;

    TraceA("OnlineRefreshMemberToken: CommunicateToServer\n");
    std::string strServerResponse;
    hr = CommunicateToMemberAuth(RequestType::kRefreshMemberToken, strJsonData, &strServerResponse);
    if (FAILED(hr)) return hr;
    hr = StoreRenewedToken(aesKey, strServerResponse);
    if (FAILED(hr)) return hr;
    hr = ReportMemberAuthResult(L"RefreshMemberToken, Server result = ", strServerResponse);
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

HRESULT QSNThreadContext::EncryptRefreshSecret(const AesKey& aesKey, std::int32_t memberId, std::string* encrypted) {
    SecretText strRefreshToken;
    HRESULT hr = GetRefreshTokenFromReg(&strRefreshToken);
    if (FAILED(hr)) {
        TraceFailed(hr, kUnit, "GetRefreshTokenFromReg(&strRefreshToken)");
        return hr;
    }
    hr = LearnMemberId(memberId);
    if (FAILED(hr)) return hr;
    std::string jsonData;
    const WipeAtEnd wipeData(jsonData);
    hr = WriteMemberRefreshSecret(strRefreshToken.Text(), memberId != 0 ? memberId : Number(m_strMemberId), &jsonData);
    if (FAILED(hr)) return hr;
    hr = EncryptByAESKey(aesKey, kInitialisationVector, jsonData, encrypted);
    if (FAILED(hr)) {
        TraceFailed(hr, kUnit, "EncryptByAESKey(aesKey, AUTH_IV_STRING, jsonData, &strEncryptResult)");
    }
    return hr;
}

HRESULT QSNThreadContext::LearnMemberId(std::int32_t memberId) {
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

HRESULT QSNThreadContext::StoreRenewedToken(const AesKey& aesKey, const std::string& strServerResponse) {
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
    hr = SetMemberToken(strDecryptResult);
    if (FAILED(hr)) TraceFailed(hr, kUnit, "SetMemberToken(strDecryptResult)");
    return hr;
}

HRESULT QSNThreadContext::SetMemberToken(const std::string& text) {
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
    return SetMemberTokenInReg(token);
}

HRESULT QSNThreadContext::ReportMemberAuthResult(const wchar_t* label, const std::string& strServerResponse) {
    MemberAuthReply reply;
    ReadMemberAuthResult(strServerResponse, &reply);
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
