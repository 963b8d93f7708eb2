#include "Dispatcher.h"

#include <json/reader.h>

#include <algorithm>
#include <memory>

#include "Gzip.h"
#include "LoginPage.h"
#include "Operations.h"
#include "PairFaults.h"

namespace qsn::service {
namespace {

constexpr std::size_t kWorthGzip = 512;

// Null unless the text is a JSON object.
Json::Value ParseObject(const std::string& text) {
    const Json::CharReaderBuilder builder;
    const std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
    Json::Value root;
    try {
        if (!reader->parse(text.data(), text.data() + text.size(), &root, nullptr)) return {};
    } catch (const Json::Exception&) {
        return {};
    }
    return root.isObject() ? root : Json::Value{};
}

std::string RequestTypeIn(const Json::Value& body) {
    const Json::Value type = body.isObject() ? body.get("requestType", "") : Json::Value("");
    return type.isString() ? type.asString() : std::string{};
}

void SetHeader(HeaderList& headers, const std::string& name, const std::string& value) {
    std::erase_if(headers, [&](const auto& header) { return EqualIgnoringCase(header.first, name); });
    headers.emplace_back(name, value);
}

void Compress(HttpReply& reply, const RecordedRequest& request, GzipMode mode) {
    const std::string* accepted = request.Header("Accept-Encoding");
    const bool wanted = mode == GzipMode::kWhenAccepted
                            ? reply.body.size() >= kWorthGzip && accepted && AcceptsGzip(*accepted)
                            : mode != GzipMode::kNever;
    if (!wanted) return;
    reply.body = Gzip(reply.body);
    if (mode == GzipMode::kBroken) {
        // The frame's head stays good, so that decoding starts before it fails.
        std::fill(reply.body.begin() + static_cast<std::ptrdiff_t>(std::min<std::size_t>(12, reply.body.size())),
                  reply.body.end(), '\xff');
    }
    SetHeader(reply.headers, "Content-Encoding", "gzip");
}

void Apply(const ReplyChange& change, Envelope& envelope) {
    if (change.result) envelope.result = *change.result;
    if (change.additionalMessage) envelope.additionalMessage = *change.additionalMessage;
    if (change.data) envelope.data = *change.data;
}

}  // namespace

Answer Dispatcher::Run(RecordedRequest& request) const {
    // The type is known before the check, so that a script can be for it whatever the check says.
    const std::string path = request.Path();
    request.requestType = RequestTypeIn(ParseObject(request.body));
    if (const Operation* operation = FindOperation(path, request.requestType))
        request.requestType = operation->requestType;
    if (!hosts_.IsMemberHost(request.host) && IsOperationPath(path)) authenticator_.Check(request);
    const std::optional<ReplyChange> scripted = script_.Take(request);
    request.scripted = scripted.has_value();
    Answer answer{{}, scripted.value_or(ReplyChange{})};
    answer.reply = Respond(request, answer.change);
    if (answer.change.status) answer.reply.status = *answer.change.status;
    Compress(answer.reply, request, answer.change.gzip);
    for (const auto& [name, value] : answer.change.headers) SetHeader(answer.reply.headers, name, value);
    request.status = answer.change.closeBeforeReply || answer.change.neverReply ? 0 : answer.reply.status;
    return answer;
}

HttpReply Dispatcher::Respond(RecordedRequest& request, const ReplyChange& change) const {
    const std::string path = request.Path();
    const bool member = hosts_.IsMemberHost(request.host);
    if (!member && path == kLoginPagePath) {
        if (request.method != "GET") return HttpReply::Text(405, "the login page takes GET\n");
        return {200, {{"Content-Type", "text/html; charset=UTF-8"}}, LoginPage(QueryValue(request.target, "SID"))};
    }
    if (member || !IsOperationPath(path)) return Refuse(request, change);
    if (request.method != "POST") return HttpReply::Text(405, "the service takes POST\n");
    if (request.check != RequestCheck::kAccepted) return HttpReply::Text(403, request.checkReason + '\n');
    return RunOperation(request, change);
}

HttpReply Dispatcher::Refuse(RecordedRequest& request, const ReplyChange& change) const {
    if (change.body) return Sealed(*change.body, change);
    return HttpReply::Text(404, "nothing at " + request.Path() + " of " + request.host + '\n');
}

HttpReply Dispatcher::RunOperation(RecordedRequest& request, const ReplyChange& change) const {
    const Json::Value body = ParseObject(request.body);
    if (body.isNull()) return HttpReply::Text(400, "the body is no JSON object\n");
    const Operation* operation = FindOperation(request.Path(), request.requestType);
    if (!operation) return HttpReply::Text(400, "no such requestType here: \"" + request.requestType + "\"\n");
    Envelope envelope = accounts_.Use([&](Accounts& accounts) {
        return operation->run({body, hosts_.SiteOf(request.host), accounts});
    });
    Apply(change, envelope);
    if (!change.body) request.result = envelope.result;
    return Sealed(change.body ? *change.body : envelope.Write(), change);
}

HttpReply Dispatcher::Sealed(std::string body, const ReplyChange& change) const {
    HttpReply reply{200, {{"Content-Type", "application/json; charset=UTF-8"}}, std::move(body)};
    const TokenAndDigest pair = authenticator_.Make(reply.body);
    AddPairHeader(reply.headers, "X-token", pair.token, change.token);
    AddPairHeader(reply.headers, "X-digest", pair.digest, change.digest);
    return reply;
}

}  // namespace qsn::service
