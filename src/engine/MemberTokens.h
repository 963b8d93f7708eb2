#pragma once

#include <windows.h>

#include <cstdint>
#include <string>

#include "Utility/MemberCrypto.h"
#include "Utility/OrbLogger.h"
#include "Utility/SecretText.h"
#include "engine/SessionState.h"
#include "protocol/MemberAuthMessages.h"
#include "protocol/ServiceExchange.h"

namespace qsn {

// The member token that the suite shares, renewed at the member-auth service, and the service's public key for that.
// A renewal ends with kTokensChanged if the shared tokens are not those any more that it began with.
class MemberTokens {
public:
    // What only the session can do for a renewal.
    class Session {
    public:
        // Reads the user's information, and with it the member identifier.
        virtual HRESULT LearnMemberId() = 0;
        virtual void TellServiceMessage(std::string message) = 0;
        // After each exchange.
        virtual void NoteExchange() = 0;

    protected:
        ~Session() = default;
    };

    MemberTokens(Session& session, const SessionState& state, ServiceExchange& exchange, OrbLogger& usageLog)
        : m_session(session), m_state(state), m_exchange(exchange), m_usageLog(usageLog) {}

    // A member token that has more than a minute to live: the shared one, renewed if it has to be.
    // QSN_RETURN_E_NO_TOKEN if there is none to renew.
    Outcome<std::string> Get();

private:
    struct Renewal {
        std::string memberToken;
        std::uint64_t memberId = 0;  // that the member token names
        SecretText refreshToken;
    };
    struct PublicKey {
        std::string text;
        std::uint32_t id = 0;
    };

    static Outcome<std::string> GetMemberTokenFromReg();
    static Outcome<SecretText> GetRefreshTokenFromReg();
    static Outcome<PublicKey> GetPublicKeyAndIDFromReg();
    // The first failure; tries both values.
    static HRESULT SetPublicKeyAndIDFromReg(const PublicKey& key);

    // Also says whose the token is, if that can be read.
    static HRESULT IsMemberTokenValid(const std::string& token, std::uint64_t* memberId);
    HRESULT RenewMemberToken(Renewal& renewal);
    static Outcome<std::string> TakeTokenRenewedElsewhere(const Renewal& renewal);
    HRESULT RefreshWithNewPublicKey(Renewal& renewal);
    Outcome<PublicKey> OnlineInitMemberAuth();
    HRESULT OnlineRefreshMemberToken(Renewal& renewal);
    Outcome<PublicKey> ProvidePublicKey();
    // Fills in the key that the reply will be encrypted with, and the refresh token that goes out.
    Outcome<std::string> WriteRefreshBody(AesKey& aesKey, Renewal& renewal);
    Outcome<std::string> EncryptRefreshSecret(const AesKey& aesKey, Renewal& renewal);
    HRESULT LearnMemberId(std::uint64_t memberId);
    Outcome<std::string> CommunicateToMemberAuth(RequestType type, const std::string& strJsonData);
    static HRESULT StoreRenewedToken(const Renewal& renewal, const AesKey& aesKey, const std::string& response);
    static HRESULT SetMemberToken(const Renewal& renewal, const std::string& text);
    HRESULT ReportMemberAuthResult(const wchar_t* label, MemberAuthReply reply);

    Session& m_session;
    const SessionState& m_state;
    ServiceExchange& m_exchange;
    OrbLogger& m_usageLog;
};

}  // namespace qsn
