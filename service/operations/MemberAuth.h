#pragma once

#include <filesystem>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>

#include "service/accounts/AccountStore.h"
#include "service/crypto/JwtIssuer.h"
#include "service/crypto/MemberKey.h"
#include "service/http/RecordedRequest.h"
#include "service/operations/MemberReply.h"

namespace qsn::service {

struct MemberRefusal {
    std::optional<int> result = {};
    std::string additionalMessage = {};
};

// The member service: hands out its public key, and renews member tokens for holders of a refresh token. Any thread
// may call.
class MemberAuth {
public:
    // With the key pair of member_private.pem, or a new one if that file is missing. Throws std::runtime_error.
    explicit MemberAuth(const std::filesystem::path& keyFolder);

    // Makes a new key pair and returns its identifier. What was wrapped for the old one is refused.
    int RotateKey();
    int KeyId() const;

    // Every request is refused like this until Accept.
    void Refuse(MemberRefusal refusal = {});
    void Accept();

    // A token for the user, valid for the product list of the second generation.
    std::string IssueToken(User& user, std::chrono::seconds lifetime) const;
    // A token that no operation would issue.
    const JwtIssuer& Issuer() const { return issuer_; }

    // `body` is an object. Completes the request's record.
    MemberReply Init(RecordedRequest& request) const;
    MemberReply Refresh(RecordedRequest& request, const Json::Value& body, AccountStore& accounts) const;

private:
    struct State {
        std::shared_ptr<const MemberKey> key;
        int keyId = 1;
        std::optional<MemberRefusal> refusal = {};
    };
    State Current() const;

    JwtIssuer issuer_;
    mutable std::mutex stateLock_;
    State state_;
};

// "memberInit" or "memberRefresh"; empty if the member hosts have nothing at the path.
std::string_view MemberOperationAt(std::string_view path);

}  // namespace qsn::service
