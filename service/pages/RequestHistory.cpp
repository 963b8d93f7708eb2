#include "service/pages/RequestHistory.h"

#include "service/pages/LoginPage.h"
#include "service/text/JsonText.h"
#include "service/text/Text.h"
#include "service/text/TimeOfDay.h"

namespace qsn::service {
namespace {

constexpr std::size_t kLongestText = 64 << 10;
constexpr std::size_t kShownOfToken = 6;
constexpr std::string_view kTokenName = "token";

std::string ShortToken(const std::string& token) {
    return token.substr(0, std::min(kShownOfToken, token.size() / 2)) + "… (" + std::to_string(token.size()) +
           " bytes)";
}

bool NamesToken(std::string_view name) {
    return name.size() >= kTokenName.size() &&
           EqualIgnoringCase(name.substr(name.size() - kTokenName.size()), kTokenName);
}

// The parser allows few levels, so the recursion does no harm.
void ShortenTokens(Json::Value& value) {
    if (value.isObject()) {
        for (const std::string& name : value.getMemberNames()) {
            Json::Value& member = value[name];
            if (member.isString() && NamesToken(name)) member = ShortToken(member.asString());
            ShortenTokens(member);
        }
    } else if (value.isArray()) {
        for (Json::Value& element : value) ShortenTokens(element);
    }
}

std::string Limited(std::string text) {
    if (text.size() <= kLongestText) return text;
    const std::string size = std::to_string(text.size());
    text.resize(kLongestText);
    return text + "\n… (" + size + " bytes)";
}

// For a person to read: JSON in lines, with its tokens cut short; other texts as they are.
std::string ReadableBody(const std::string& body) {
    Json::Value value = ParseObject(body);
    if (value.isNull()) return Limited(body);
    ShortenTokens(value);
    return Limited(WriteJson(value, "  "));
}

std::string Authentication(const RecordedRequest& request) {
    if (request.check == RequestCheck::kNotNeeded) return "not asked for here";
    if (request.check == RequestCheck::kAccepted) return "holds: X-token and X-digest accepted";
    return "does not hold: " + request.checkReason;
}

std::string Outcome(const RecordedRequest& request) {
    std::string text = request.status == 0 ? "closed without a reply" : "status " + std::to_string(request.status);
    if (request.result) text += ", result " + std::to_string(*request.result);
    return request.scripted ? text + ", by a rule" : text;
}

HistoryEntry EntryFor(const RecordedRequest& request) {
    HistoryEntry entry;
    entry.summary = TimeOfDay() + ' ' + request.host + ' ' + request.method + ' ' + Limited(request.Path());
    if (!request.requestType.empty()) entry.summary += ' ' + request.requestType;
    entry.summary += " → " + Outcome(request);
    entry.failed = request.status == 0 || request.status >= 400 || request.result.value_or(0) != 0;
    const auto add = [&](std::string_view name, std::string text) {
        if (!text.empty()) entry.details.emplace_back(name, std::move(text));
    };
    // A form of the login page holds a password.
    const bool secret = request.Path() == kLoginPagePath;
    add("Authentication", Authentication(request));
    add("Request body", secret ? std::string{} : ReadableBody(request.body));
    add("Request body, decrypted", ReadableBody(request.decryptedBody));
    add("Refused", request.refusal);
    add("Reply", Outcome(request));
    add("Reply body", ReadableBody(request.replyBody));
    add("Reply body, before encryption", ReadableBody(request.replySecret));
    return entry;
}

}  // namespace

void RequestHistory::Add(const RecordedRequest& request) {
    if (size_ == 0) return;
    HistoryEntry entry = EntryFor(request);
    const std::lock_guard guard(entriesLock_);
    entry.number = ++lastNumber_;
    entries_.push_front(std::move(entry));
    if (entries_.size() > size_) entries_.pop_back();
}

std::uint64_t RequestHistory::LastNumber() const {
    const std::lock_guard guard(entriesLock_);
    return lastNumber_;
}

std::vector<HistoryEntry> RequestHistory::Entries() const {
    const std::lock_guard guard(entriesLock_);
    return {entries_.begin(), entries_.end()};
}

}  // namespace qsn::service
