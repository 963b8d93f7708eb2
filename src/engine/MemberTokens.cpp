#include "engine/MemberTokens.h"

#include <qsn/qsn.h>

#include <charconv>
#include <ctime>
#include <utility>

#include "Utility/Jwt.h"
#include "Utility/Trace.h"
#include "Utility/WipeAtEnd.h"
#include "protocol/ResultCodes.h"
#include "sso/ConditionalChanges.h"
#include "sso/SharedValues.h"
#include "sso/TokenStore.h"

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

HRESULT Found(HRESULT read) { return read == S_FALSE ? E_FAIL : FromRegistry(read); }

template <class Value>
Outcome<Value> Found(StoreReading<Value> reading) {
    return {Found(reading.result), std::move(reading.value)};
}

}  // namespace

Outcome<std::string> MemberTokens::Get() {
    TraceA("GetMemberTokenTaskCmdProc");
    Outcome<std::string> shared = GetMemberTokenFromReg();
    if (FAILED(shared.result)) return {QSN_RETURN_E_NO_TOKEN};
    Renewal renewal;
    if (SUCCEEDED(IsMemberTokenValid(shared.value, &renewal.memberId))) return shared;
    renewal.memberToken = std::move(shared.value);
    const HRESULT renewed = RenewMemberToken(renewal);
    if (renewed == kTokensChanged) return TakeTokenRenewedElsewhere(renewal);
    if (FAILED(renewed)) return {renewed};
    shared = GetMemberTokenFromReg();
    HandOn(shared.result, kUnit, "GetMemberTokenFromReg(token)");
    return shared;
}

HRESULT MemberTokens::RenewMemberToken(Renewal& renewal) {
    const HRESULT hr = OnlineRefreshMemberToken(renewal);
    // The last two are not refusals: there are other tokens by now, or the session has ended.
    if (SUCCEEDED(hr) || hr == kTokensChanged || hr == E_ABORT) return hr;
    return RefreshWithNewPublicKey(renewal);
}

// Applications that start together find the same token near its end, and the first to renew it has done so for all. A
// token that may be another user's is not taken.
Outcome<std::string> MemberTokens::TakeTokenRenewedElsewhere(const Renewal& renewal) {
    Outcome<std::string> shared = GetMemberTokenFromReg();
    std::uint64_t memberId = 0;
    if (FAILED(shared.result) || FAILED(IsMemberTokenValid(shared.value, &memberId))) return {kTokensChanged};
    if (memberId == 0 || memberId != renewal.memberId) return {kTokensChanged};
    return shared;
}

// Once only: a service that has changed its key pair takes the second attempt, any other refusal stands.
HRESULT MemberTokens::RefreshWithNewPublicKey(Renewal& renewal) {
    TraceA("[ERR]GetMemberTokenTaskCmdProc refresh member token failed, calls init API to get public key again.");
    const HRESULT hr = HandOn(OnlineInitMemberAuth().result, kUnit, "OnlineInitMemberAuth(&strPublicKey, &nID)");
    if (FAILED(hr)) return hr;
    return HandOn(OnlineRefreshMemberToken(renewal), kUnit, "OnlineRefreshMemberToken(nMemberID)");
}

HRESULT MemberTokens::IsMemberTokenValid(const std::string& token, std::uint64_t* memberId) {
    TraceA("IsMemberTokenValid\n");
    const Outcome<std::string> payload = HandOn(DecodeJWT(token), kUnit, "DecodeJWT(token, &strDecryptResult)");
    if (FAILED(payload.result)) return payload.result;
    const Outcome<MemberTokenClaims> claims = ReadMemberTokenClaims(payload.value);
    if (FAILED(claims.result)) {
        TraceA("IsMemberTokenValid token json parse failed.\n");
        return E_INVALIDARG;
    }
    *memberId = claims.value.memberId;
    if (claims.value.expiry < std::time(nullptr) + kLeastTimeToLive) {
        TraceA("IsMemberTokenValid: the token is invalid ");
        return E_FAIL;
    }
    TraceA("IsMemberTokenValid: the token is valid ");
    return S_OK;
}

Outcome<MemberTokens::PublicKey> MemberTokens::OnlineInitMemberAuth() {
    TraceA("OnlineInitMemberAuth\n");
    TraceA("OnlineInitMemberAuth: GenerateJSONData\n");
    const Outcome<std::string> body = WriteMemberInitBody(m_state.productSID);
    if (FAILED(body.result)) return {body.result};
    TraceA("OnlineInitMemberAuth: CommunicateToServer\n");
    const Outcome<std::string> response = CommunicateToMemberAuth(RequestType::kInitMemberAuth, body.value);
    if (FAILED(response.result)) return {response.result};

    Outcome<MemberAuthInfo> info = ParseMemberAuthResponse(RequestType::kInitMemberAuth, response.value);
    PublicKey key{std::move(info.value.text), info.value.id};
    // Whatever the reply was: a key that is no longer confirmed is not kept either.
    const HRESULT stored = SetPublicKeyAndIDFromReg(key);
    HRESULT hr = ReportMemberAuthResult(L"InitMemberAuth, Server result = ", ReadMemberAuthResult(response.value));
    if (SUCCEEDED(hr)) hr = FAILED(info.result) ? info.result : stored;
    TraceA("OnlineInitMemberAuth return hr = %x\n", static_cast<unsigned>(hr));
    return {hr, std::move(key)};
}

HRESULT MemberTokens::OnlineRefreshMemberToken(Renewal& renewal) {
    TraceA("OnlineRefreshMemberToken\n");
    AesKey aesKey{};
    const WipeAtEnd wipeKey(aesKey);
    const Outcome<std::string> body = WriteRefreshBody(aesKey, renewal);
    if (FAILED(body.result)) return body.result;
    TraceA("OnlineRefreshMemberToken: CommunicateToServer\n");
    const Outcome<std::string> response = CommunicateToMemberAuth(RequestType::kRefreshMemberToken, body.value);
    if (FAILED(response.result)) return response.result;
    MemberAuthReply reply = ReadMemberAuthResult(response.value);
    if (reply.result == 0) {
        const HRESULT stored = StoreRenewedToken(renewal, aesKey, response.value);
        if (FAILED(stored)) return stored;
    }
    const HRESULT hr = ReportMemberAuthResult(L"RefreshMemberToken, Server result = ", std::move(reply));
    TraceA("OnlineRefreshMemberToken return hr = %x\n", static_cast<unsigned>(hr));
    return hr;
}

Outcome<std::string> MemberTokens::WriteRefreshBody(AesKey& aesKey, Renewal& renewal) {
    const Outcome<PublicKey> publicKey = ProvidePublicKey();
    if (FAILED(publicKey.result)) return {publicKey.result};
    const HRESULT hr = HandOn(GenerateAesKey(&aesKey), kUnit, "GenerateAesKey(&aesKey)");
    if (FAILED(hr)) return {hr};
    const auto wrappedKey = HandOn(EncryptAESKeyByRSAKey(publicKey.value.text, aesKey), kUnit,
                                   "EncryptAESKeyByRSAKey(strPublicKey, aesKey, &strEncryptedAESKey)");
    if (FAILED(wrappedKey.result)) return {wrappedKey.result};
    const Outcome<std::string> secret = EncryptRefreshSecret(aesKey, renewal);
    if (FAILED(secret.result)) return {secret.result};
    return WriteMemberRefreshBody(wrappedKey.value, secret.value, publicKey.value.id);
}

Outcome<MemberTokens::PublicKey> MemberTokens::ProvidePublicKey() {
    Outcome<PublicKey> key = GetPublicKeyAndIDFromReg();
    if (SUCCEEDED(key.result)) {
        TraceA("OnlineRefreshMemberToken public key is exist.\n");
        return key;
    }
    key = OnlineInitMemberAuth();
    HandOn(key.result, kUnit, "OnlineInitMemberAuth(&strPublicKey, &nID)");
    return key;
}

Outcome<std::string> MemberTokens::EncryptRefreshSecret(const AesKey& aesKey, Renewal& renewal) {
    Outcome<SecretText> refresh = GetRefreshTokenFromReg();
    HRESULT hr = HandOn(refresh.result, kUnit, "GetRefreshTokenFromReg(&strRefreshToken)");
    if (FAILED(hr)) return {hr};
    renewal.refreshToken = std::move(refresh.value);
    hr = LearnMemberId(renewal.memberId);
    if (FAILED(hr)) return {hr};
    // The public key may have taken so long that another user has signed in, and this is that user's refresh token.
    if (!IsSharedMemberToken(renewal.memberToken)) return {kTokensChanged};
    Outcome<std::string> jsonData = WriteMemberRefreshSecret(
        renewal.refreshToken.Text(), renewal.memberId != 0 ? renewal.memberId : Number(m_state.memberId));
    const WipeAtEnd wipeData(jsonData.value);
    if (FAILED(jsonData.result)) return {jsonData.result};
    return HandOn(EncryptByAESKey(aesKey, kInitialisationVector, jsonData.value), kUnit,
                  "EncryptByAESKey(aesKey, AUTH_IV_STRING, jsonData, &strEncryptResult)");
}

HRESULT MemberTokens::LearnMemberId(std::uint64_t memberId) {
    if (memberId != 0 || !m_state.memberId.empty()) return S_OK;
    TraceA("[ERR]OnlineRefreshMemberToken local and member token's id is None.\n");
    return HandOn(m_session.LearnMemberId(), kUnit, "OnlineGetUserInfo(&spUserInfo)");
}

Outcome<std::string> MemberTokens::CommunicateToMemberAuth(RequestType type, const std::string& strJsonData) {
    const ServerURL serverapi = GetServerURL(type, m_state.useTestbed, m_state.memberId);
    TraceA("Start to communicate to Server\n");
    Outcome<SignedReply> reply =
        m_exchange.CommunicateToServer(serverapi, strJsonData, "Quillfern/" + m_state.productSID);
    m_session.NoteExchange();
    HandOn(reply.result, kUnit,
           "CommunicateToServer(strJsonData, &strServerResponse, &strToken, &strDigest, serverapi, TRUE)");
    return {reply.result, std::move(reply.value.body)};
}

HRESULT MemberTokens::StoreRenewedToken(const Renewal& renewal, const AesKey& aesKey, const std::string& response) {
    const Outcome<MemberAuthInfo> info = ParseMemberAuthResponse(RequestType::kRefreshMemberToken, response);
    if (FAILED(info.result)) return info.result;
    Outcome<std::string> text = DecryptByAESKey(aesKey, kInitialisationVector, info.value.text);
    const WipeAtEnd wipeText(text.value);
    const HRESULT hr =
        HandOn(text.result, kUnit, "DecryptByAESKey(aesKey, AUTH_IV_STRING, *strInfo, &strDecryptResult)");
    if (FAILED(hr)) return hr;
    return HandOn(SetMemberToken(renewal, text.value), kUnit, "SetMemberToken(strDecryptResult)");
}

HRESULT MemberTokens::SetMemberToken(const Renewal& renewal, const std::string& text) {
    TraceA("SetMemberToken\n");
    const Outcome<std::string> token = ReadRenewedMemberToken(text);
    if (FAILED(token.result)) {
        TraceA("SetMemberToken: Failed to parse json.\n");
        return token.result;
    }
    if (token.value.empty()) {
        TraceA("SetMemberToken: Failed to get memberToken.\n");
        return E_FAIL;
    }
    return ReplaceMemberToken(renewal.memberToken, renewal.refreshToken.Text(), token.value);
}

HRESULT MemberTokens::ReportMemberAuthResult(const wchar_t* label, MemberAuthReply reply) {
    const std::wstring line = label + std::to_wstring(reply.result) + L"\n";
    TraceW(L"%s", line.c_str());
    m_usageLog.Log(line.c_str());
    const HRESULT hr = ServerResult2HRESULT(reply.result);
    if (!reply.additionalMessage.empty()) m_session.TellServiceMessage(std::move(reply.additionalMessage));
    return hr;
}

Outcome<SecretText> MemberTokens::GetRefreshTokenFromReg() {
    TraceA("GetRefreshTokenFromReg\n");
    return Found(BriefTokenStore().GetRefreshToken());
}

Outcome<std::string> MemberTokens::GetMemberTokenFromReg() {
    TraceA("GetMemberTokenFromReg\n");
    return Found(BriefTokenStore().GetMemberToken());
}

Outcome<MemberTokens::PublicKey> MemberTokens::GetPublicKeyAndIDFromReg() {
    TraceA("GetPublicKeyAndIDFromReg\n");
    BriefTokenStore store;
    Outcome<std::string> text = Found(store.GetPublicKey());
    if (FAILED(text.result)) return {text.result};
    const Outcome<std::uint32_t> id = Found(store.GetPublicID());
    return {id.result, {std::move(text.value), id.value}};
}

HRESULT MemberTokens::SetPublicKeyAndIDFromReg(const PublicKey& key) {
    TraceA("SetPublicKeyAndIDFromReg\n");
    TraceA("SetPublicID: %d", static_cast<int>(key.id));
    BriefTokenStore store;
    const HRESULT keyResult = FromRegistry(store.SetPublicKey(key.text));
    const HRESULT idResult = FromRegistry(store.SetPublicID(key.id));
    return FAILED(keyResult) ? keyResult : idResult;
}

}  // namespace qsn
