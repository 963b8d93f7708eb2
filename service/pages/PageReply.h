#pragma once

#include <string>
#include <string_view>

#include "service/http/HttpReply.h"

namespace qsn::service {

// A whole page for a browser. It may use the style of the frame, send forms to its own origin, and do what the policy
// adds, such as "script-src 'self'".
struct Page {
    int status = 200;
    std::string_view title;
    std::string main;              // HTML
    std::string head = {};         // HTML
    std::string policy = {};       // directives
    std::string formTargets = {};  // other origins that a form's answer may redirect to
};

// Never stored, never framed. It tells no other site where the browser came from.
HttpReply MakePage(const Page& page);
// The same care for what is not a page.
HttpReply MakeResource(const char* type, std::string body);
// To be fetched with GET.
HttpReply SeeOther(const std::string& location);

// Whether a form was submitted from the origin that it was sent to. These pages send no referrer. A browser then says
// "null" for the origin of a form, and what it says of the sites counts.
bool ComesFromOwnPage(const RecordedRequest& request, std::string_view ownOrigin);

}  // namespace qsn::service
