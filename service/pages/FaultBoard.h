#pragma once

#include <array>
#include <atomic>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

#include "service/accounts/AccountStore.h"
#include "service/http/Script.h"
#include "service/operations/MemberAuth.h"
#include "service/pages/LoginTickets.h"

namespace qsn::service {

// What a developer switches on by hand to see how a host copes. "Slow" and "down" replace every rule of the script. Any
// thread may call. The parts outlive it.
class FaultBoard {
public:
    struct Parts {
        const HostNames& hosts;
        AccountStore& accounts;
        MemberAuth& members;
        LoginTickets& tickets;
        Script& script;
        std::atomic<int>& tunnelRefusal;
    };
    struct Button {
        std::string_view name;
        std::string_view label;
        std::string_view effect;
        void (FaultBoard::*press)();
    };

    explicit FaultBoard(const Parts& parts) : parts_(parts) {}

    static const std::array<Button, 7>& Buttons();
    // False if there is no such button.
    bool Press(std::string_view name);
    // What is on now, as a sentence.
    std::string State() const;

private:
    struct Revoked {
        std::string userId;
        std::vector<AccessToken> accessTokens;
        std::vector<std::string> memberTokens;
    };

    void RefuseNext();
    void RevokeTokens();
    void RotateKey();
    void BeSlow();
    void BeDown();
    void ExpireLogins();
    void BeNormal();
    void SetMode(std::string_view mode, int tunnelRefusal);

    Parts parts_;
    mutable std::mutex boardLock_;  // taken before those of the parts
    std::string_view mode_ = "normal";
    std::vector<Revoked> revoked_;
};

}  // namespace qsn::service
