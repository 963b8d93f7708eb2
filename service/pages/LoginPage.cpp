#include "service/pages/LoginPage.h"

#include "service/pages/PageReply.h"
#include "service/text/Text.h"

namespace qsn::service {
namespace {

std::string ListenerOrigin(const LoginReturn& to) { return "http://127.0.0.1:" + std::to_string(to.port); }

std::string Narrow(std::string_view html) { return "<div class=\"narrow\">\n" + std::string(html) + "</div>\n"; }

}  // namespace

HttpReply LoginFormPage(const LoginForm& form) {
    std::string main = "<h1>Sign in</h1>\n<p>Development account service. Product: <strong>" +
                       EscapeHtml(form.attempt.productSid) + "</strong></p>\n";
    const bool failed = !form.problem.empty();
    if (failed) main += "<p role=\"alert\" id=\"problem\">" + EscapeHtml(form.problem) + "</p>\n";
    const std::string state = failed ? R"( aria-invalid="true" aria-describedby="problem")" : "";
    main.append("<form method=\"post\" action=\"").append(kLoginPagePath).append("\">\n");
    main += R"(<input type="hidden" name="ticket" value=")" + form.ticket + R"(">
<label for="name">Name or e-mail</label>
<input id="name" name="name" autocomplete="username" autocapitalize="none" required autofocus value=")" +
            EscapeHtml(form.name) + '"' + state + R"(>
<label for="password">Password</label>
<input id="password" name="password" type="password" autocomplete="current-password" required)" +
            state + R"(>
<button name="action" value="sign-in">Sign in</button>
<button name="action" value="cancel" formnovalidate>Cancel</button>
</form>
)";
    Page page{.title = failed ? "Not signed in - Sign in" : "Sign in", .main = Narrow(main)};
    // The policy of the page with the form also covers the place that the answer redirects to.
    if (form.attempt.handOver) page.formTargets = ListenerOrigin(*form.attempt.handOver);
    return MakePage(page);
}

HttpReply LoginNotice(int status, std::string_view heading, const std::string& text) {
    return MakePage(
        {.status = status,
         .title = heading,
         .main = Narrow("<h1>" + EscapeHtml(heading) + "</h1>\n<p role=\"status\">" + EscapeHtml(text) + "</p>\n")});
}

HttpReply TokenPage(const std::string& userName, const std::string& token) {
    return MakePage({.title = "Signed in",
                     .main = Narrow("<h1>Signed in</h1>\n<p role=\"status\">Signed in as <strong>" +
                                    EscapeHtml(userName) + "</strong>. Hand this token to your application.</p>\n" +
                                    "<label for=\"token\">Access token</label>\n" +
                                    "<input id=\"token\" readonly autofocus value=\"" + EscapeHtml(token) + "\">\n")});
}

HttpReply HandOver(const LoginReturn& to, std::string_view name, const std::string& value) {
    return SeeOther(ListenerOrigin(to) + "/signed-in?state=" + EncodeQueryValue(to.state) + '&' + std::string(name) +
                    '=' + EncodeQueryValue(value));
}

}  // namespace qsn::service
