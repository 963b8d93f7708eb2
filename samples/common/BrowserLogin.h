#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <string>

namespace sample {

// Signing in through the login page in the user's browser: opens a listener on 127.0.0.1 that the page sends the
// browser back to with the token. Only an answer that carries this login's own one-time state counts; whatever else a
// browser or another program sends there changes nothing.
//
//     m_login = std::make_unique<BrowserLogin>(report);
//     BrowserLogin::OpenInBrowser(m_login->AddressToOpen(signInAddress));
//
// Keep the object for a while after its report, until the next login, say: it still shows the browser the last page.
class BrowserLogin {
public:
    enum class Outcome {
        kToken,
        kCancelled,  // by the user, on the page
        kExpired,    // no answer came in time
        kFailed      // the page's answer cannot be used, or the listener broke down
    };
    // Called once at most, on a thread of this object. It must not throw and must not destroy the object; in a program
    // with windows it posts a message. `token` is empty for every other outcome than kToken.
    using Report = std::function<void(Outcome outcome, const std::string& token)>;

    static constexpr std::chrono::minutes kTimeLimit{5};
    // The library takes no longer ones.
    static constexpr std::size_t kLongestToken = 63;

    // Listens from now on. Throws std::system_error where the network or the random numbers are not to be had.
    explicit BrowserLogin(Report report, std::chrono::milliseconds timeLimit = kTimeLimit);
    // At any time, without waiting for any client; no report comes afterwards.
    ~BrowserLogin();
    BrowserLogin(const BrowserLogin&) = delete;
    BrowserLogin& operator=(const BrowserLogin&) = delete;

    // `signInAddress`: what the library gives as the login page.
    std::string AddressToOpen(const std::string& signInAddress) const;

    // Opens an http or https address, UTF-8, in the user's browser; anything else, which the shell might run, is
    // refused with false, and so is a machine without a browser.
    static bool OpenInBrowser(const std::string& address);

private:
    class Listener;
    std::unique_ptr<Listener> m_listener;
};

}  // namespace sample
