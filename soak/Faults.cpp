#include "Faults.h"

#include <atomic>
#include <chrono>
#include <mutex>
#include <random>
#include <vector>

namespace qsn::soak {
namespace {

using service::PairFault;
using service::ReplyChange;
using namespace std::chrono_literals;

struct Fault {
    const char* name;
    unsigned perThousand;  // of the requests that it is for
    ReplyChange change;
    bool member = false;  // of the member hosts, else of the others
};

// A connection is broken after its handshake only: where that is cut off behind a proxy, Wine's WinINet connects again
// to the host itself, which it has never resolved, and ends the process by an assertion.
std::vector<Fault> AllFaults() {
    return {
        {"slow", 40, {.delay = 300ms}},
        {"very slow", 4, {.delay = 3s}},
        {"in pieces", 20, {.pieceSize = 40, .pause = 5ms}},
        {"no reply in 20 s", 2, {.delay = 20s, .closeBeforeReply = true}},
        {"closed before reply", 20, {.closeBeforeReply = true}},
        {"closed in body", 20, {.closeAfterBodyBytes = 10}},
        {"status 500", 10, {.status = 500}},
        {"status 302", 10, {.status = 302, .headers = {{"Location", "https://elsewhere.example/"}}}},
        {"wrong digest", 20, {.digest = PairFault::kWrong}},
        {"no reply token", 10, {.token = PairFault::kOmitted}},
        {"not JSON", 20, {.body = "<html>"}},
        {"nested too deep", 10, {.body = std::string(5000, '[')}},
        {"message for the user", 20, {.additionalMessage = "soon at an end"}},
        {"refused", 20, {.result = 6}},
        {"token revoked", 20, {.result = 101}},
        {"token renewal refused", 60, {.memberStatus = "FAIL"}, true},
        {"spoilt member tag", 60, {.spoilMemberTag = true}, true},
        {"member reply closed in body", 40, {.closeAfterBodyBytes = 10}, true},
        {"slow member reply", 60, {.delay = 300ms}, true},
    };
}

}  // namespace

struct Faults::State {
    std::mutex randomLock;
    std::mt19937 random;
    std::vector<Fault> faults = AllFaults();
    std::vector<std::atomic<std::uint64_t>> met = std::vector<std::atomic<std::uint64_t>>(faults.size());

    bool Draw(std::size_t index, const service::RecordedRequest& request) {
        if (faults[index].member != request.Path().starts_with("/member-auth/")) return false;
        const std::lock_guard lock(randomLock);
        if (random() % 1000 >= faults[index].perThousand) return false;
        ++met[index];
        return true;
    }
};

Faults::Faults(service::AccountServer& server, unsigned seed) : m_state(std::make_shared<State>()) {
    m_state->random.seed(seed);
    for (std::size_t index = 0; index < m_state->faults.size(); ++index) {
        service::RequestMatch match;
        match.where = [state = m_state, index](const service::RecordedRequest& request) {
            return state->Draw(index, request);
        };
        server.Rules().Always(m_state->faults[index].change, std::move(match));
    }
}

std::uint64_t Faults::Total() const {
    std::uint64_t total = 0;
    for (const auto& met : m_state->met) total += met;
    return total;
}

std::string Faults::Text() const {
    std::string text;
    for (std::size_t index = 0; index < m_state->faults.size(); ++index) {
        text += (text.empty() ? "" : ", ") + std::to_string(m_state->met[index]) + " " + m_state->faults[index].name;
    }
    return text;
}

}  // namespace qsn::soak
