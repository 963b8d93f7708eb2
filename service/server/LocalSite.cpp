#include "service/server/LocalSite.h"

#include "service/pages/DeveloperPage.h"
#include "service/pages/LoginPage.h"
#include "service/pages/PageReply.h"
#include "service/text/Text.h"

namespace qsn::service {

bool LocalSite::IsService(const RecordedRequest& request) { return request.Path() == kLoginPagePath; }

// A foreign page may make its own name lead to this machine. Its browser still says that name here.
bool LocalSite::IsOwnHost(std::string_view host) const {
    const std::string port = ':' + std::to_string(port_);
    return EqualIgnoringCase(host, "127.0.0.1" + port) || EqualIgnoringCase(host, "localhost" + port);
}

Answer LocalSite::Run(RecordedRequest& request) const {
    const std::string_view host = request.headers["Host"];
    if (!IsOwnHost(host)) {
        request.status = 403;
        return {HttpReply::Text(403, "this port answers to 127.0.0.1:" + std::to_string(port_) + " only\n"), {}};
    }
    request.host = LowerCase(host);
    if (IsService(request)) return dispatcher_.Run(request);
    if (request.method == "POST" && request.Path() == kFaultsPath) return {PressButton(request), {}};
    if (request.method != "GET") return {HttpReply::Text(405, "this page takes GET\n"), {}};
    return {Look(request), {}};
}

HttpReply LocalSite::Look(const RecordedRequest& request) const {
    const std::string path = request.Path();
    if (path == "/") return DeveloperPage(faults_, history_, ticket_);
    if (path == kScriptPath) return DeveloperScript();
    if (path != kRequestsPath) return HttpReply::Text(404, "nothing at " + path + '\n');
    const bool known = QueryValue(request.target, "last") == std::to_string(history_.LastNumber());
    HttpReply reply = MakeResource("text/html; charset=UTF-8", known ? std::string{} : RequestList(history_));
    if (known) reply.status = 204;
    return reply;
}

HttpReply LocalSite::PressButton(const RecordedRequest& request) const {
    const bool own = ComesFromOwnPage(request, "http://" + request.host);
    if (!own || !EqualSecrets(FormValue(request.body, "ticket").value_or(""), ticket_)) {
        return HttpReply::Text(403, "this form does not come from the service's page: load that again\n");
    }
    const bool known = faults_.Press(FormValue(request.body, "fault").value_or(""));
    return known ? SeeOther("/") : HttpReply::Text(400, "no such fault\n");
}

}  // namespace qsn::service
