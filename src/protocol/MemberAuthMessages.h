#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "Utility/Outcome.h"
#include "protocol/Endpoints.h"

namespace qsn {

// The texts of the member-auth exchange: what is sent, and what is read from its replies and tokens.

// E_OUTOFMEMORY if memory ran out.
Outcome<std::string> WriteMemberInitBody(const std::string& productSID);
Outcome<std::string> WriteMemberRefreshSecret(const std::string& refreshToken, std::uint64_t memberId);
Outcome<std::string> WriteMemberRefreshBody(const std::string& wrappedKey, const std::string& encryptedSecret,
                                            std::uint32_t keyId);

inline constexpr int kUnreadableResult = -1;  // translated like any unknown number

struct MemberAuthReply {
    int result = 0;  // these replies may have one, most have not
    std::string additionalMessage;
};
// The parts of a reply that do not depend on its kind. If it is not JSON, they are those of an empty reply.
MemberAuthReply ReadMemberAuthResult(std::string_view reply);

struct MemberAuthInfo {
    std::string text;
    std::uint32_t id = 0;
};
// kInitMemberAuth: public key and its identifier. kRefreshMemberToken: the encrypted text. Anything else: E_NOTIMPL.
// E_INVALIDARG: not JSON, or an identifier that no value can hold. kReplyWithoutResult: no "status". 0 with
// an empty value for any "status" but success: callers judge by what they got.
Outcome<MemberAuthInfo> ParseMemberAuthResponse(RequestType api, std::string_view reply);

// When a member token ends, and whose it is. E_INVALIDARG if the payload is not a JSON object. Members that are not
// whole numbers of 64 bits read as 0, and so do negative identifiers.
struct MemberTokenClaims {
    std::int64_t expiry = 0;  // seconds since 1970
    std::uint64_t memberId = 0;
};
Outcome<MemberTokenClaims> ReadMemberTokenClaims(std::string_view payload);

// The member token in a decrypted refresh reply, empty if it is missing. E_INVALIDARG: not JSON.
Outcome<std::string> ReadRenewedMemberToken(std::string_view text);

}  // namespace qsn
