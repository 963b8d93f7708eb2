#include "service/pages/PageReply.h"

#include "service/crypto/Base64.h"
#include "service/crypto/Secrets.h"
#include "service/text/Text.h"

namespace qsn::service {
namespace {

constexpr std::string_view kStyle = R"(
:root { color-scheme: light dark; font: 16px/1.5 system-ui, sans-serif; }
body { margin: 0 auto; padding: 1.5rem; max-width: 72rem; }
.narrow { max-width: 24rem; margin: 0 auto; }
h1 { font-size: 1.4rem; }
label { display: block; margin-top: 1rem; }
input { box-sizing: border-box; width: 100%; padding: .4rem; font: inherit; }
button { margin: 1rem .5rem 0 0; padding: .4rem 1rem; font: inherit; }
[role=alert] { border-left: .3rem solid #c33; padding-left: .7rem; }
.faults button { margin-top: .4rem; min-width: 15rem; }
summary { cursor: pointer; font-family: monospace; overflow-wrap: anywhere; }
summary.failed { color: #c33; }
dl { margin: .5rem 0 1rem 1.5rem; }
dt { font-weight: bold; }
dd { margin: 0 0 .5rem; }
pre { margin: 0; max-height: 24rem; overflow: auto; white-space: pre-wrap; overflow-wrap: anywhere; }
)";

// Allows the page's own style and no other.
const std::string& StyleSource() {
    static const std::string source = "'sha256-" + ToBase64(Sha256(kStyle)) + '\'';
    return source;
}

HttpReply Guarded(HttpReply reply) {
    reply.headers.set("Cache-Control", "no-store");
    reply.headers.set("Referrer-Policy", "no-referrer");
    reply.headers.set("X-Content-Type-Options", "nosniff");
    reply.headers.set("X-Frame-Options", "DENY");
    reply.headers.set("Cross-Origin-Resource-Policy", "same-origin");
    return reply;
}

}  // namespace

HttpReply MakePage(const Page& page) {
    std::string policy = "default-src 'none'; base-uri 'none'; frame-ancestors 'none'; style-src " + StyleSource() +
                         "; form-action 'self'";
    if (!page.formTargets.empty()) policy += ' ' + page.formTargets;
    if (!page.policy.empty()) policy += "; " + page.policy;
    HttpReply reply = Guarded(HttpReply::Of(page.status, "text/html; charset=UTF-8", {}));
    reply.headers.set("Content-Security-Policy", policy);
    reply.body.append("<!DOCTYPE html>\n<html lang=\"en\">\n<head>\n<meta charset=\"utf-8\">\n")
        .append("<meta name=\"viewport\" content=\"width=device-width, initial-scale=1\">\n<title>")
        .append(EscapeHtml(page.title))
        .append("</title>\n<style>")
        .append(kStyle)
        .append("</style>\n")
        .append(page.head)
        .append("</head>\n<body>\n<main>\n")
        .append(page.main)
        .append("</main>\n</body>\n</html>\n");
    return reply;
}

HttpReply MakeResource(const char* type, std::string body) {
    return Guarded(HttpReply::Of(200, type, std::move(body)));
}

HttpReply SeeOther(const std::string& location) {
    HttpReply reply{303};
    reply.headers.set("Location", location);
    return Guarded(std::move(reply));
}

bool ComesFromOwnPage(const RecordedRequest& request, std::string_view ownOrigin) {
    const auto& headers = request.headers;
    const auto origin = headers.find("Origin"), site = headers.find("Sec-Fetch-Site");
    if (origin != headers.end() && origin->value() != "null") return EqualIgnoringCase(origin->value(), ownOrigin);
    return site == headers.end() || site->value() == "same-origin";
}

}  // namespace qsn::service
