#include <algorithm>
#include <array>
#include <cstring>
#include <memory>
#include <string>
#include <string_view>
#include <utility>

#include "Utility/Guard.h"
#include "Utility/Text.h"
#include "lib/PVQSNLib.h"
#include "sso/SharedValues.h"
#include "tasks/QSNTask.h"

// Requests with a handle. What they do is what the methods of IPVSubscription do, but on the worker thread.

namespace qsn {
namespace {

constexpr std::size_t kMaxAccessTokenLength = 63;

using Work = QSNThreadContext::Work;
using Text = std::optional<SecretText>;

template <HRESULT (QSNThreadContext::*procedure)()>
HRESULT RunProcedure(QSNThreadContext& context, Text& /*text*/) {
    return (context.*procedure)();
}

template <Outcome<SecretText> (QSNThreadContext::*reader)() const>
HRESULT ReadText(QSNThreadContext& context, Text& text) {
    Outcome<SecretText> read = (context.*reader)();
    text = std::move(read.value);
    return read.result;
}

struct PlainKind {
    std::uint32_t kind;
    HRESULT (*work)(QSNThreadContext& context, Text& text);
};
constexpr std::array kPlainKinds{
    PlainKind{QSN_REQUEST_GET_USERINFO, &RunProcedure<&QSNThreadContext::GetUserInfoCmdProc>},
    PlainKind{QSN_REQUEST_GET_PRODUCTLIST, &RunProcedure<&QSNThreadContext::GetProductListCmdProc>},
    PlainKind{QSN_REQUEST_GET_PRODUCTLIST_V2, &RunProcedure<&QSNThreadContext::GetProductListV2CmdProc>},
    PlainKind{QSN_REQUEST_GI_QUERY, &RunProcedure<&QSNThreadContext::GIQueryProc>},
    PlainKind{QSN_REQUEST_GI_LOG, &RunProcedure<&QSNThreadContext::GILogProc>},
    PlainKind{QSN_REQUEST_GET_SIGNIN_URL, &ReadText<&QSNThreadContext::GetSignInURL>},
    PlainKind{QSN_REQUEST_GET_ACCESS_TOKEN, &ReadText<&QSNThreadContext::GetAccessToken>},
};

// A secret in a function object that may be copied.
std::shared_ptr<const SecretText> Shared(const char* text) { return std::make_shared<SecretText>(text ? text : ""); }

Work TextSetting(int item, const char* text) {
    if (!text) return nullptr;
    return [item, value = std::make_shared<const std::wstring>(Utf8ToWide(text))](QSNThreadContext& context, Text&) {
        return context.SetConfig(item, value->c_str());
    };
}

Work NumberSetting(int item, std::uint32_t value) {
    return [item, value](QSNThreadContext& context, Text&) { return context.SetConfig(item, &value); };
}

template <class Reading, class Read>
HRESULT HandOver(const StoreReading<Reading>& reading, Text& text, Read read) {
    if (SUCCEEDED(reading.result)) text.emplace(read(reading.value));
    return FAILED(reading.result) ? reading.result : S_OK;
}

}  // namespace

HRESULT STDMETHODCALLTYPE PVQSNLib::Start(const QSN_REQUEST* request, IQSNCompletion* completion,
                                          IQSNRequest** started) {
    if (!request) return E_POINTER;
    if (request->size < sizeof(QSN_REQUEST)) return E_INVALIDARG;
    return Guarded([&]() -> HRESULT {
        Work work = WorkOf(*request);
        if (!work) return E_INVALIDARG;
        const SessionQueue session = Queue();
        if (!session.worker) return QSN_RETURN_E_NOT_INITIALIZED;
        const Request::Terms terms{++m_lastRequest, static_cast<int>(request->kind), request->timeLimit};
        const UniqueCom<Request> made(new Request(session.book, terms, completion));
        const auto task = std::make_shared<RequestTask>(AddReference(made.get()), std::move(work));
        if (!session.book->Add(*made)) return QSN_RETURN_E_NOT_INITIALIZED;
        const HRESULT queued = Guarded([&] { return session.worker->PostTask(task), S_OK; });
        if (FAILED(queued)) session.book->Withdraw(*made);
        if (FAILED(queued) || !started) return queued;
        made->AddRef();
        *started = made.get();
        return S_OK;
    });
}

HRESULT STDMETHODCALLTYPE PVQSNLib::SetLog(IQSNLog* log, uint32_t level) {
    if (log && (level < QSN_LOG_ERROR || level > QSN_LOG_DETAIL)) return E_INVALIDARG;
    m_log->Set(log, level);
    return S_OK;
}

// Empty if the request makes no sense.
Work PVQSNLib::WorkOf(const QSN_REQUEST& request) {
    const auto plain = std::ranges::find(kPlainKinds, request.kind, &PlainKind::kind);
    if (plain != kPlainKinds.end()) return plain->work;
    switch (request.kind) {
        case QSN_REQUEST_SIGNIN: return SignInWork(request.text);
        case QSN_REQUEST_SIGNOUT: return [this](QSNThreadContext& context, Text&) { return SignOutOn(context); };
        case QSN_REQUEST_CONFIG: return ConfigWork(request);
        default: return nullptr;
    }
}

Work PVQSNLib::SignInWork(const char* token) {
    const std::size_t length = token ? strnlen(token, kMaxAccessTokenLength + 1) : 0;
    if (length > kMaxAccessTokenLength || (token && length == 0)) return nullptr;
    return [this, given = token != nullptr, token = Shared(token)](QSNThreadContext& context, Text&) -> HRESULT {
        Outcome<Candidate> candidate = FindToken(given ? token->Text().c_str() : nullptr);
        if (FAILED(candidate.result)) return candidate.result;
        Share(candidate.value);
        if (!candidate.value.token.IsEmpty()) context.SetAccessToken(std::move(candidate.value.token));
        return context.SignIn(Origin::kHost);
    };
}

HRESULT PVQSNLib::SignOutOn(QSNThreadContext& context) {
    const TokenStore::Tokens tokens = ReadTokens();
    if (FAILED(tokens.result)) return tokens.result;
    ClearTokens();
    return context.SignOut(Origin::kHost, tokens.member, tokens.refresh.Text());
}

Work PVQSNLib::ConfigWork(const QSN_REQUEST& request) {
    switch (request.item) {
        case QSNCFG_SET_LANGUAGE:
        case QSNCFG_SET_EXTEND_DATA: return TextSetting(request.item, request.text);
        case QSNCFG_SET_PLATFORM_INFO:
        case QSNCFG_ENABLE_CHECK_TOKEN_ROUTINE:
        case QSNCFG_USE_TESTBED: return NumberSetting(request.item, request.value);
        case QSNCFG_ENABLE_SINGLE_SIGNON:
            return [this, on = request.value != 0](QSNThreadContext&, Text&) { return SwitchSingleSignOn(on); };
        case QSNCFG_SET_MEMBER_TOKEN:
            return [this, token = Shared(request.text)](QSNThreadContext&, Text&) {
                return FromRegistry(m_singleSignOn.SetMemberToken(token->Text()));
            };
        case QSNCFG_SET_REFRESH_TOKEN:
            return [this, token = Shared(request.text)](QSNThreadContext&, Text&) {
                return FromRegistry(m_singleSignOn.SetRefreshToken(token->Text()));
            };
        case QSNCFG_GET_MEMBER_TOKEN:
            return [this](QSNThreadContext&, Text& text) {
                return HandOver(m_singleSignOn.GetMemberToken(), text,
                                [](const std::string& token) -> std::string_view { return token; });
            };
        case QSNCFG_GET_REFRESH_TOKEN:
            return [this](QSNThreadContext&, Text& text) {
                return HandOver(m_singleSignOn.GetRefreshToken(), text,
                                [](const SecretText& token) -> std::string_view { return token.Text(); });
            };
        default: return nullptr;
    }
}

}  // namespace qsn
