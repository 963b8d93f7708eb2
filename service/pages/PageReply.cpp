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

// Lets the page's own style in without letting in any other.
const std::string& StyleSource() {
    static const std::string source = "'sha256-" + ToBase64(Sha256(kStyle)) + '\'';
    return source;
}

HeaderList Guarded(HeaderList headers) {
    headers.emplace_back("Cache-Control", "no-store");
    headers.emplace_back("Referrer-Policy", "no-referrer");
    headers.emplace_back("X-Content-Type-Options", "nosniff");
    headers.emplace_back("X-Frame-Options", "DENY");
    headers.emplace_back("Cross-Origin-Resource-Policy", "same-origin");
    return headers;
}

}  // namespace

HttpReply MakePage(const Page& page) {
    std::string policy = "default-src 'none'; base-uri 'none'; frame-ancestors 'none'; style-src " + StyleSource() +
                         "; form-action 'self'";
    if (!page.formTargets.empty()) policy += ' ' + page.formTargets;
    if (!page.policy.empty()) policy += "; " + page.policy;
    HttpReply reply{page.status, Guarded({{"Content-Type", "text/html; charset=UTF-8"}}), {}};
    reply.headers.emplace_back("Content-Security-Policy", std::move(policy));
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
    return {200, Guarded({{"Content-Type", type}}), std::move(body)};
}

HttpReply SeeOther(const std::string& location) { return {303, Guarded({{"Location", location}}), {}}; }

bool ComesFromOwnPage(const RecordedRequest& request, std::string_view ownOrigin) {
    const std::string* origin = request.Header("Origin");
    if (origin && *origin != "null") return EqualIgnoringCase(*origin, ownOrigin);
    const std::string* site = request.Header("Sec-Fetch-Site");
    return !site || *site == "same-origin";
}

}  // namespace qsn::service
