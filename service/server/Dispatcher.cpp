#include "service/server/Dispatcher.h"

#include <algorithm>

#include "service/http/Gzip.h"
#include "service/http/PairFaults.h"
#include "service/operations/Operations.h"
#include "service/pages/LoginPage.h"
#include "service/text/JsonText.h"

namespace qsn::service {
namespace {

constexpr std::size_t kWorthGzip = 512;
constexpr std::size_t kGzipEnd = 8;  // checksum and length
constexpr std::size_t kEndlessPiece = 1 << 20;

bool WantsGzip(const HttpReply& reply, const RecordedRequest& request) {
    return reply.body.size() >= kWorthGzip && AcceptsGzip(request.headers["Accept-Encoding"]);
}

std::string Compressed(std::string_view body, Compression how) {
    switch (how) {
        case Compression::kDeflate: return Deflate(body);
        case Compression::kBareDeflate: return BareDeflate(body);
        case Compression::kTwoGzips: return Gzip(body.substr(0, body.size() / 2)) + Gzip(body.substr(body.size() / 2));
        default: return Gzip(body);
    }
}

void Compress(HttpReply& reply, const RecordedRequest& request, Compression how) {
    if (how == Compression::kWhenAccepted) how = WantsGzip(reply, request) ? Compression::kGzip : Compression::kNone;
    if (how == Compression::kNone) return;
    const bool deflate = how == Compression::kDeflate || how == Compression::kBareDeflate;
    reply.headers.set("Content-Encoding", deflate ? "deflate" : "gzip");
    if (!reply.more.empty()) {
        OpenGzip open = GzipWithoutEnd(reply.body, reply.more);
        reply.body = std::move(open.text);
        reply.more = std::move(open.more);
        return;
    }
    reply.body = Compressed(reply.body, how);
    if (how == Compression::kCutGzip) reply.body.resize(reply.body.size() - kGzipEnd);
    if (how == Compression::kBrokenGzip) {
        // The frame's head stays intact, so that decoding starts before it fails.
        std::fill(reply.body.begin() + static_cast<std::ptrdiff_t>(std::min<std::size_t>(12, reply.body.size())),
                  reply.body.end(), '\xff');
    }
}

void Apply(const ReplyChange& change, Envelope& envelope) {
    if (change.result) envelope.result = *change.result;
    if (change.additionalMessage) envelope.additionalMessage = *change.additionalMessage;
    if (change.data) envelope.data = *change.data;
}

void Apply(const ReplyChange& change, MemberReply& reply) {
    if (change.memberStatus) reply.status = *change.memberStatus;
    if (change.result) reply.result = *change.result;
    if (change.additionalMessage) reply.additionalMessage = *change.additionalMessage;
    if (change.memberSecret) reply.secret = *change.memberSecret;
    reply.spoilTag = change.spoilMemberTag;
    if (change.data) {
        reply.info = *change.data;
        reply.key.reset();
    }
}

HttpReply JsonReply(std::string body) { return HttpReply::Of(200, "application/json; charset=UTF-8", std::move(body)); }

HttpReply NothingThere(const RecordedRequest& request) {
    return HttpReply::Text(404, "nothing at " + request.Path() + " of " + request.host + '\n');
}

}  // namespace

Answer Dispatcher::Run(RecordedRequest& request) const {
    // The type comes before the check, so that a script can match it whatever the check says.
    const std::string path = request.Path();
    const bool member = hosts_.IsMemberHost(request.host);
    request.requestType = member ? MemberOperationAt(path) : TextOf(ParseObject(request.body), "requestType");
    const Operation* operation = member ? nullptr : FindOperation(path, request.requestType);
    if (operation) request.requestType = operation->requestType;
    if (member ? !request.requestType.empty() : IsOperationPath(path)) authenticator_.Check(request);
    const std::optional<ReplyChange> scripted = script_.Take(request);
    request.scripted = scripted.has_value();
    Answer answer{{}, scripted.value_or(ReplyChange{})};
    answer.reply = Respond(request, answer.change);
    // A login page may hold a token to copy.
    if (path != kLoginPagePath) request.replyBody = answer.reply.body;
    if (answer.change.status) answer.reply.status = *answer.change.status;
    if (answer.change.endless) answer.reply.more.assign(kEndlessPiece, ' ');
    Compress(answer.reply, request, answer.change.compression);
    request.status = answer.change.closeBeforeReply || answer.change.neverReply ? 0 : answer.reply.status;
    return answer;
}

HttpReply Dispatcher::Respond(RecordedRequest& request, const ReplyChange& change) const {
    const std::string path = request.Path();
    if (hosts_.IsMemberHost(request.host)) return RespondAsMember(request, change);
    if (path == kLoginPagePath) return RespondAsPage(request);
    if (!IsOperationPath(path)) return change.body ? Sealed(*change.body, change) : NothingThere(request);
    if (request.method != "POST") return HttpReply::Text(405, "the service takes POST\n");
    if (request.check != RequestCheck::kAccepted) {
        request.refusal = request.checkReason;
        return HttpReply::Text(403, request.checkReason + '\n');
    }
    return RunOperation(request, change);
}

// A token of the page on the service's own port is for either site.
HttpReply Dispatcher::RespondAsPage(const RecordedRequest& request) const {
    const bool hosted = hosts_.Contains(request.host);
    return login_.Answer(request, hosted ? std::optional(hosts_.SiteOf(request.host)) : std::nullopt,
                         (hosted ? "https://" : "http://") + request.host);
}

// The member service asks for no pair and gives none.
HttpReply Dispatcher::RespondAsMember(RecordedRequest& request, const ReplyChange& change) const {
    if (request.requestType.empty()) return change.body ? JsonReply(*change.body) : NothingThere(request);
    if (request.method != "POST") return HttpReply::Text(405, "the service takes POST\n");
    const Json::Value body = ParseObject(request.body);
    if (body.isNull()) return HttpReply::Text(400, "the body is no JSON object\n");
    MemberReply reply =
        request.requestType == "memberInit" ? member_.Init(request) : member_.Refresh(request, body, accounts_);
    Apply(change, reply);
    if (change.body) return JsonReply(*change.body);
    request.replySecret = reply.secret;
    request.result = reply.result;
    return JsonReply(reply.Write());
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
    HttpReply reply = JsonReply(std::move(body));
    const TokenAndDigest pair = authenticator_.Make(reply.body);
    if (const auto token = Spoilt(pair.token, change.token)) reply.headers.set("X-token", *token);
    if (const auto digest = Spoilt(pair.digest, change.digest)) reply.headers.set("X-digest", *digest);
    return reply;
}

}  // namespace qsn::service
