#include "Host.h"

#include <windows.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <random>
#include <string>
#include <thread>

#include "Footprint.h"
#include "HostCallback.h"
#include "Neighbour.h"
#include "support/Library.h"
#include "support/ProcessState.h"

namespace qsn::soak {
namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

// A request without a reply ends after a minute, and a product list with a renewal makes six in a row.
constexpr auto kCallbackBound = 150s;
constexpr auto kPatience = 2s;  // of a host that then gives up and ends the session
constexpr auto kMethodBound = 200s;
constexpr auto kBetweenMeasurements = 30s;
constexpr long long kLongestEnd = 2000;  // ms; a second for the service, the rest for the machine

void Print(const HostOptions& options, const std::string& text) {
    std::printf("%s\n", ("host " + std::to_string(options.index) + ": " + text).c_str());
    std::fflush(stdout);
}

// Ends the process if the work under way takes longer than any fault explains.
class Watchdog {
public:
    explicit Watchdog(const HostOptions& options) : m_thread([this, &options] { Watch(options); }) {}
    Watchdog(const Watchdog&) = delete;
    Watchdog& operator=(const Watchdog&) = delete;
    ~Watchdog() {
        m_ends = true;
        m_thread.join();
    }
    void Begin(const char* work) {
        m_work = work;
        m_since = Clock::now();
    }

private:
    void Watch(const HostOptions& options) {
        while (!m_ends) {
            std::this_thread::sleep_for(200ms);
            if (Clock::now() - m_since.load() < kMethodBound) continue;
            Print(options, std::string("HANGS in ") + m_work.load());
            std::_Exit(4);
        }
    }
    std::atomic<bool> m_ends{false};
    std::atomic<const char*> m_work{"start"};
    std::atomic<Clock::time_point> m_since{Clock::now()};
    std::thread m_thread;
};

class Host {
public:
    explicit Host(const HostOptions& options) : m_options(options), m_watchdog(m_options), m_random(options.seed) {}

    int Run() {
        const auto end = Clock::now() + std::chrono::seconds(m_options.seconds);
        // What the first sessions set up does not count as growth.
        Live(std::min(Clock::now() + kBetweenMeasurements, end));
        const Footprint settled = Quiet();
        Print(m_options, "settled at " + settled.Text());
        Footprint now = settled;
        while (Clock::now() < end && !m_failed) {
            Live(std::min(Clock::now() + kBetweenMeasurements, end));
            now = Quiet();
        }
        const std::string growth = GrowthText(settled, now, &m_failed);
        if (!m_failed) Listen();
        Print(m_options, std::to_string(m_requests) + " requests, " + std::to_string(m_sessions) + " sessions, " +
                             std::to_string(m_givenUp) + " given up, " + std::to_string(m_outOfReach) +
                             " without the shared tokens, longest end " + std::to_string(m_longestEnd) + " ms");
        Print(m_options, "callbacks by result: " + m_callback.ResultsText() +
                             "; notifications: " + m_callback.NotificationsText());
        Print(m_options, growth);
        return m_failed ? 1 : 0;
    }

private:
    struct Action {
        const char* name;
        unsigned weight;
        void (Host::*act)();
    };

    void Live(Clock::time_point end) {
        static constexpr std::array kActions{
            Action{"sign in", 20, &Host::SignIn},
            Action{"sign out", 2, &Host::SignOut},
            Action{"user information", 12, &Host::UserInfo},
            Action{"product list", 8, &Host::ProductList},
            Action{"product list of the second generation", 12, &Host::ProductListV2},
            Action{"quota", 6, &Host::Quota},
            Action{"several requests", 6, &Host::Several},
            Action{"configuration", 6, &Host::Configure},
            Action{"tokens", 6, &Host::Tokens},
            Action{"single sign-on", 6, &Host::SingleSignOn},
            Action{"stop", 1, &Host::Stop},
            Action{"end", 4, &Host::End},
            Action{"reload", 1, &Host::Reload},
        };
        while (Clock::now() < end && !m_failed) {
            if (!m_qsn) Begin();
            if (!m_qsn) continue;
            unsigned draw = m_random() % 90;
            const Action* action = kActions.data();
            while (draw >= action->weight) draw -= action++->weight;
            m_watchdog.Begin(action->name);
            (this->*action->act)();
        }
    }

    void Begin() {
        m_watchdog.Begin("Init");
        if (!m_library) m_library = std::make_unique<test::Library>();
        m_qsn = test::Create(*m_library);
        if (m_qsn->Init(L"SID-SOAK", &m_callback) != S_OK) Fail("Init failed");
        ++m_sessions;
        if (m_random() % 4 != 0) SignIn();
    }
    void End() {
        m_watchdog.Begin("Uninit");
        const auto start = Clock::now();
        if (m_random() % 2 == 0 && m_qsn->Uninit() != S_OK) Fail("Uninit failed");
        m_qsn.reset();
        const auto took = std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - start).count();
        m_longestEnd = std::max<long long>(m_longestEnd, took);
        if (took > kLongestEnd) Fail("the end took " + std::to_string(took) + " ms");
        if (m_callback.References() != 1) Fail("the callback is still referenced");
    }
    void Reload() {
        End();
        Free();
    }
    void Free() {
        m_library.reset();
        if (GetModuleHandleW(L"qsn.dll")) Fail("the DLL stays loaded");
    }
    // Nothing of the library is left.
    Footprint Quiet() {
        m_watchdog.Begin("quiet");
        if (m_qsn) End();
        Free();
        return Footprint::Now();
    }

    // Only looks. What the neighbour leaves behind must become this session's state.
    void Listen() {
        Begin();
        uint32_t on = 1;
        m_qsn->Config(QSNCFG_ENABLE_SINGLE_SIGNON, &on, nullptr);
        if (!test::Eventually([&] { return !IsOutOfReach(m_qsn->SignIn(nullptr)); }))
            return Fail("no look at the store");
        LastWords words;
        for (int round = 0; round < LastWords::kRounds; ++round) {
            words.Announce();
            for (bool spoken = false; !spoken; spoken = words.WaitFor(round, 1000)) m_watchdog.Begin("the last word");
            if (test::Eventually([&] { return LastWords::IsShared(AccessToken()); })) continue;
            return Fail("left with \"" + AccessToken() + "\"");
        }
        End();
        Free();
    }
    std::string AccessToken() {
        char token[64] = "";
        uint32_t length = 0;
        m_qsn->GetAccessToken(token, sizeof(token), &length);
        return token;
    }

    // At times nobody may read the shared tokens in the registry.
    bool IsOutOfReach(HRESULT hr) {
        const bool isOutOfReach = FAILED(hr) && HRESULT_FACILITY(static_cast<unsigned>(hr)) == FACILITY_WIN32;
        if (isOutOfReach) ++m_outOfReach;
        return isOutOfReach;
    }
    // Waits for the callback of an accepted request. Most hosts give up after a while and end the session.
    void Await(HRESULT posted, int action, std::uint64_t before) {
        if (posted != S_OK) return Fail("a request was not accepted");
        ++m_requests;
        if (m_callback.WaitBeyond(action, before, kPatience)) return;
        if (m_random() % 8 != 0) {
            ++m_givenUp;
            return End();
        }
        if (!m_callback.WaitBeyond(action, before, kCallbackBound)) Fail("no callback of " + std::to_string(action));
    }
    void SignIn() {
        const bool shared = m_random() % 3 == 0;
        const std::uint64_t before = m_callback.Count(QSN_ACTION_SIGNIN_RESULT);
        const HRESULT hr = m_qsn->SignIn(shared ? nullptr : "token-soak");
        if (IsOutOfReach(hr)) return;
        Await(hr == QSN_RETURN_E_NO_TOKEN ? S_OK : hr, QSN_ACTION_SIGNIN_RESULT, before);
    }
    void SignOut() {
        const std::uint64_t before = m_callback.Count(QSN_ACTION_SIGNOUT_RESULT);
        const HRESULT hr = m_qsn->SignOut();
        if (!IsOutOfReach(hr)) Await(hr, QSN_ACTION_SIGNOUT_RESULT, before);
    }
    void UserInfo() {
        const std::uint64_t before = m_callback.Count(QSN_ACTION_GET_USERINFO_RESULT);
        Await(m_qsn->GetUserInfo(), QSN_ACTION_GET_USERINFO_RESULT, before);
    }
    void ProductList() {
        const std::uint64_t before = m_callback.Count(QSN_ACTION_GET_PRODUCTLIST_RESULT);
        Await(m_qsn->GetProductList(), QSN_ACTION_GET_PRODUCTLIST_RESULT, before);
    }
    void ProductListV2() {
        const std::uint64_t before = m_callback.Count(QSN_ACTION_GET_PRODUCTLIST_V2_RESULT);
        Await(m_qsn->GetProductListV2(), QSN_ACTION_GET_PRODUCTLIST_V2_RESULT, before);
    }
    void Several() {
        for (unsigned i = m_random() % 5; i > 0; --i) {
            m_random() % 2 == 0 ? m_qsn->GetUserInfo() : m_qsn->GetProductList();
            ++m_requests;
        }
    }
    void Quota() {
        m_qsn->Config(m_random() % 2 == 0 ? QSNCFG_GI_QUERY : QSNCFG_GI_LOG, nullptr, nullptr);
        ++m_requests;
    }
    void Configure() {
        wchar_t language[] = L"de";
        uint32_t number = m_random() % 2;
        m_qsn->Config(QSNCFG_SET_LANGUAGE, language, nullptr);
        m_qsn->Config(QSNCFG_SET_EXTEND_DATA, language, nullptr);
        m_qsn->Config(QSNCFG_ENABLE_CHECK_TOKEN_ROUTINE, &number, nullptr);
        char text[256];
        m_qsn->GetAccessToken(text, sizeof(text), &number);
        m_qsn->GetSignInURL(text, sizeof(text), &number);
    }
    void Tokens() {
        char buffer[4096];
        uint32_t length = sizeof(buffer);
        m_qsn->Config(QSNCFG_GET_MEMBER_TOKEN, buffer, &length);
        length = sizeof(buffer);
        m_qsn->Config(QSNCFG_GET_REFRESH_TOKEN, buffer, &length);
        char token[] = "refresh-soak";
        length = sizeof(token) - 1;
        if (m_random() % 2 == 0) m_qsn->Config(QSNCFG_SET_REFRESH_TOKEN, token, &length);
    }
    void SingleSignOn() {
        uint32_t on = m_random() % 3 != 0;
        m_qsn->Config(QSNCFG_ENABLE_SINGLE_SIGNON, &on, nullptr);
    }
    void Stop() { m_qsn->Stop(); }

    void Fail(const std::string& text) {
        Print(m_options, "FAILED: " + text);
        m_failed = true;
    }

    const HostOptions m_options;
    Watchdog m_watchdog;
    std::mt19937 m_random;
    HostCallback m_callback;
    std::unique_ptr<test::Library> m_library;
    test::LibraryObject m_qsn;
    std::uint64_t m_requests = 0;
    std::uint64_t m_sessions = 0;
    std::uint64_t m_givenUp = 0;
    std::uint64_t m_outOfReach = 0;
    long long m_longestEnd = 0;
    bool m_failed = false;
};

}  // namespace

int RunHost(const HostOptions& options) { return Host(options).Run(); }

}  // namespace qsn::soak
