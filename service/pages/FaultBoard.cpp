#include "service/pages/FaultBoard.h"

#include <algorithm>
#include <iterator>
#include <utility>

namespace qsn::service {
namespace {

constexpr std::chrono::seconds kSlowness{3};
constexpr int kRefusedStatus = 403;
constexpr int kDownStatus = 503;

template <typename Element>
void Append(std::vector<Element>& to, std::vector<Element>& from) {
    to.insert(to.end(), std::make_move_iterator(from.begin()), std::make_move_iterator(from.end()));
}

}  // namespace

const std::array<FaultBoard::Button, 7>& FaultBoard::Buttons() {
    static constexpr std::array<Button, 7> kButtons{
        {{"refuse", "Refuse the next request", "It is answered with status 403.", &FaultBoard::RefuseNext},
         {"revoke", "Revoke all tokens", "Access and member tokens of every user are unknown from now on.",
          &FaultBoard::RevokeTokens},
         {"rotate", "Rotate the member key", "What was encrypted for the old key pair is refused.",
          &FaultBoard::RotateKey},
         {"slow", "Be slow", "Every reply takes three seconds longer.", &FaultBoard::BeSlow},
         {"down", "Be down", "Connections are refused or close without a reply.", &FaultBoard::BeDown},
         {"expire", "Expire login forms", "Those that are open are refused.", &FaultBoard::ExpireLogins},
         {"normal", "Back to normal", "Ends all of these; revoked tokens are valid again.", &FaultBoard::BeNormal}}};
    return kButtons;
}

bool FaultBoard::Press(std::string_view name) {
    const auto& buttons = Buttons();
    const auto found =
        std::find_if(buttons.begin(), buttons.end(), [&](const Button& button) { return button.name == name; });
    if (found == buttons.end()) return false;
    const std::lock_guard guard(boardLock_);
    (this->*found->press)();
    return true;
}

std::string FaultBoard::State() const {
    const std::lock_guard guard(boardLock_);
    const unsigned refusals = parts_.script.Pending();
    std::string text = "The service is " + std::string(mode_);
    if (refusals == 1) text += ", the next request is refused";
    if (refusals > 1) text += ", the next " + std::to_string(refusals) + " requests are refused";
    if (!revoked_.empty()) text += ", tokens are revoked";
    return text + "; the member key has the number " + std::to_string(parts_.members.KeyId()) + '.';
}

void FaultBoard::RefuseNext() {
    // Operations only: the page that is just being loaded is not meant.
    parts_.script.Once({.memberStatus = "FAILED", .status = kRefusedStatus},
                       {.where = [](const RecordedRequest& request) { return !request.requestType.empty(); }});
}

void FaultBoard::RevokeTokens() {
    parts_.accounts.Use([this](Accounts& accounts) {
        for (User& user : accounts.users) {
            revoked_.push_back(
                {user.userId, std::exchange(user.accessTokens, {}), std::exchange(user.memberTokens, {})});
        }
    });
}

void FaultBoard::RotateKey() { parts_.members.RotateKey(); }

void FaultBoard::SetMode(std::string_view mode, int tunnelRefusal) {
    mode_ = mode;
    parts_.script.Clear();
    parts_.tunnelRefusal = tunnelRefusal;
}

void FaultBoard::BeSlow() {
    SetMode("slow", 0);
    parts_.script.Always({.delay = kSlowness}, {.where = [&hosts = parts_.hosts](const RecordedRequest& request) {
                             return hosts.Contains(request.host);
                         }});
}

void FaultBoard::BeDown() {
    SetMode("down", kDownStatus);
    // Clients keep the connections that they have.
    parts_.script.Always({.closeBeforeReply = true}, {.where = [&hosts = parts_.hosts](const RecordedRequest& request) {
                             return hosts.Contains(request.host);
                         }});
}

void FaultBoard::ExpireLogins() { parts_.tickets.ExpireAll(); }

void FaultBoard::BeNormal() {
    SetMode("normal", 0);
    parts_.members.Accept();
    parts_.accounts.Use([this](Accounts& accounts) {
        for (Revoked& tokens : revoked_) {
            User* user = accounts.FindByUserId(tokens.userId);
            if (!user) continue;
            Append(user->accessTokens, tokens.accessTokens);
            Append(user->memberTokens, tokens.memberTokens);
        }
    });
    revoked_.clear();
}

}  // namespace qsn::service
