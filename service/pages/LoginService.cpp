#include "service/pages/LoginService.h"

#include "service/crypto/Secrets.h"
#include "service/pages/LoginPage.h"
#include "service/pages/PageReply.h"
#include "service/text/Text.h"

namespace qsn::service {
namespace {

constexpr std::size_t kLongestForm = 8192;
// 48 characters. The library takes 63.
constexpr std::size_t kTokenBytes = 24;
// Fewer characters of 6 bits cannot hold 128 bits.
constexpr std::size_t kShortestState = 22;
constexpr std::size_t kLongestState = 256;

struct SignedIn {
    std::string userName;
    std::string token;
};

std::optional<std::uint16_t> PortIn(std::string_view text) {
    return text.starts_with('0') ? std::nullopt : NumberIn<std::uint16_t>(text);
}

bool IsState(std::string_view text) {
    return text.size() >= kShortestState && text.size() <= kLongestState && EncodeQueryValue(text) == text;
}

HttpReply UnknownProduct(const std::string& productSid) {
    return LoginNotice(404, "Unknown product",
                       productSid.empty() ? "The address of this page names no product. Start again in the application."
                                          : "This service knows no product with the SID \"" + productSid + "\".");
}

HttpReply Expired() {
    return LoginNotice(410, "This form has expired",
                       "Start again in the application: a form is good once and for " +
                           std::to_string(LoginTickets::kLifetime.count()) + " minutes.");
}

}  // namespace

HttpReply LoginService::Answer(const RecordedRequest& request, std::optional<Site> site,
                               std::string_view origin) const {
    if (request.method == "GET") return Show(request, site);
    if (request.method != "POST") return HttpReply::Text(405, "the login page takes GET and POST\n");
    if (!ComesFromOwnPage(request, origin)) return HttpReply::Text(403, "this form comes from another site\n");
    if (request.body.size() > kLongestForm) return HttpReply::Text(413, "this form is too long\n");
    return Submit(request);
}

HttpReply LoginService::Show(const RecordedRequest& request, std::optional<Site> site) const {
    LoginAttempt attempt{QueryValue(request.target, "SID").value_or(""), site};
    const bool known =
        accounts_.Use([&](const Accounts& accounts) { return accounts.IsKnownProduct(attempt.productSid); });
    if (!known) return UnknownProduct(attempt.productSid);
    if (const auto portText = QueryValue(request.target, "redirect_port")) {
        const auto port = PortIn(*portText);
        const std::string state = QueryValue(request.target, "state").value_or("");
        if (!port || !IsState(state)) {
            return LoginNotice(400, "This address cannot be used",
                               "Its port or its state is missing or malformed. Start again in the application.");
        }
        attempt.handOver = LoginReturn{*port, state};
    }
    std::string ticket = tickets_.Issue(attempt);
    return LoginFormPage({attempt, std::move(ticket)});
}

HttpReply LoginService::Submit(const RecordedRequest& request) const {
    auto attempt = tickets_.Take(FormValue(request.body, "ticket").value_or(""));
    if (!attempt) return Expired();
    if (FormValue(request.body, "action") != "cancel") return SignIn(std::move(*attempt), request.body);
    if (attempt->handOver) return HandOver(*attempt->handOver, "error", "cancelled");
    return LoginNotice(200, "Cancelled", "Nobody was signed in. You can close this page.");
}

HttpReply LoginService::SignIn(LoginAttempt attempt, const std::string& form) const {
    const std::string name = FormValue(form, "name").value_or("");
    const std::string password = FormValue(form, "password").value_or("");
    const auto done = accounts_.Use([&](Accounts& accounts) -> std::optional<SignedIn> {
        User* user = accounts.FindByLogin(name, password);
        if (!user) return std::nullopt;
        user->accessTokens.push_back({RandomHex(kTokenBytes), attempt.site});
        return SignedIn{user->userName, user->accessTokens.back().text};
    });
    if (!done) {
        std::string ticket = tickets_.Issue(attempt);
        return LoginFormPage({attempt, std::move(ticket), name, "The name or the password is wrong."});
    }
    if (attempt.handOver) return HandOver(*attempt.handOver, "token", done->token);
    return TokenPage(done->userName, done->token);
}

}  // namespace qsn::service
