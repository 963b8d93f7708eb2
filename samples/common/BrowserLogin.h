#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <string>

namespace sample {

// Signing in through the login page in the user's browser. It opens a listener on 127.0.0.1, and the page sends the
// browser back there with the token. Only an answer that carries this login's own one-time state counts. Whatever else
// a browser or another program sends there changes nothing.
//
//     m_login = std::make_unique<BrowserLogin>(report);
//     BrowserLogin::OpenInBrowser(m_login->AddressToOpen(signInAddress));
//
// Keep the object for a while after its report, for example until the next login: it still has to show the last page.
class BrowserLogin {
public:
    enum class Outcome {
        kToken,
        kCancelled,  // by the user, on the page
        kExpired,    // no answer came in time
        kFailed      // the page's answer cannot be used, or the listener broke down
    };
    // Called at most once, on this object's own thread. It must not throw or destroy the object; in a program with
    // windows it posts a message. `token` is empty for every outcome except kToken.
    using Report = std::function<void(Outcome outcome, const std::string& token)>;

    static constexpr std::chrono::minutes kTimeLimit{5};
    // The library takes no longer tokens.
    static constexpr std::size_t kLongestToken = 63;

    // Listens from now on. Throws std::system_error if the network or random numbers are not available.
    explicit BrowserLogin(Report report, std::chrono::milliseconds timeLimit = kTimeLimit);
    // May be called at any time and does not wait for any client. No report comes afterwards.
    ~BrowserLogin();
    BrowserLogin(const BrowserLogin&) = delete;
    BrowserLogin& operator=(const BrowserLogin&) = delete;

    // `signInAddress`: what the library gives as the login page.
    std::string AddressToOpen(const std::string& signInAddress) const;

    // Opens an http or https address, UTF-8, in the user's browser. False for anything else, because the shell might
    // run it, and on a machine without a browser.
    static bool OpenInBrowser(const std::string& address);

private:
    class Listener;
    std::unique_ptr<Listener> m_listener;
};

}  // namespace sample
