#include "service/pages/DeveloperPage.h"

#include "service/pages/LoginPage.h"
#include "service/pages/PageReply.h"
#include "service/text/Text.h"

namespace qsn::service {
namespace {

constexpr std::string_view kScript = R"("use strict";
const list = document.getElementById("requests");
const live = document.getElementById("live");

// What is open stays open when the list changes, and the keyboard stays where it is.
function show(html) {
    const open = [...list.querySelectorAll("details[open]")].map((row) => row.id);
    const active = list.contains(document.activeElement) ? document.activeElement.parentElement.id : "";
    list.innerHTML = html;
    for (const id of open) {
        const row = document.getElementById(id);
        if (row) row.open = true;
    }
    const row = active && document.getElementById(active);
    if (row) row.querySelector("summary").focus();
}

async function update() {
    try {
        const last = list.firstElementChild ? list.firstElementChild.id.slice(1) : "0";
        const reply = await fetch("/requests?last=" + last, {cache: "no-store"});
        if (reply.status === 200) show(await reply.text());
        live.textContent = "Kept up to date.";
    } catch {
        live.textContent = "The service does not answer.";
    }
    setTimeout(update, 1000);
}

update();
)";

// A text from outside must not control a terminal or a browser.
std::string Shown(std::string_view text) {
    std::string result(text);
    for (char& c : result) {
        if ((c >= 0 && c < ' ' && c != '\n' && c != '\t') || c == 0x7f) c = '?';
    }
    return EscapeHtml(result);
}

std::string ButtonForm(const FaultBoard::Button& button, const std::string& ticket) {
    const std::string name(button.name);
    return "<form method=\"post\" action=\"" + std::string(kFaultsPath) +
           "\"><input type=\"hidden\" name=\"ticket\" value=\"" + ticket + "\"><button name=\"fault\" value=\"" + name +
           "\" aria-describedby=\"" + name + "\">" + std::string(button.label) + "</button> <span id=\"" + name +
           "\">" + std::string(button.effect) + "</span></form>\n";
}

}  // namespace

std::string RequestList(const RequestHistory& history) {
    std::string html;
    for (const HistoryEntry& entry : history.Entries()) {
        html += "<details id=\"r" + std::to_string(entry.number) + "\"><summary" +
                (entry.failed ? " class=\"failed\">" : ">") + Shown(entry.summary) + "</summary>\n<dl>\n";
        for (const auto& [name, text] : entry.details) {
            html.append("<dt>").append(name).append("</dt><dd><pre>").append(Shown(text)).append("</pre></dd>\n");
        }
        html += "</dl></details>\n";
    }
    return html;
}

HttpReply DeveloperPage(const FaultBoard& faults, const RequestHistory& history, const std::string& ticket) {
    std::string main = "<h1>Account service</h1>\n<p><a href=\"" + std::string(kLoginPagePath) +
                       "?SID=demo\">Login page</a></p>\n<h2>Faults</h2>\n<p id=\"state\" role=\"status\">" +
                       Shown(faults.State()) + "</p>\n<div class=\"faults\">\n";
    for (const FaultBoard::Button& button : FaultBoard::Buttons()) main += ButtonForm(button, ticket);
    main +=
        "</div>\n<h2>Last requests</h2>\n<p id=\"live\">Loaded again every three seconds.</p>\n"
        "<div id=\"requests\">" +
        RequestList(history) + "</div>\n<script src=\"" + std::string(kScriptPath) + "\"></script>\n";
    return MakePage({.title = "Account service",
                     .main = std::move(main),
                     .head = "<noscript><meta http-equiv=\"refresh\" content=\"3\"></noscript>\n",
                     .policy = "script-src 'self'; connect-src 'self'"});
}

HttpReply DeveloperScript() { return MakeResource("text/javascript; charset=UTF-8", std::string(kScript)); }

}  // namespace qsn::service
