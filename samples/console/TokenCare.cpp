#include "TokenCare.h"

#include <qsn/qsn.h>

#include <algorithm>
#include <cstdio>
#include <memory>

#include "HostCallback.h"
#include "QsnLibrary.h"
#include "Transcript.h"

namespace sample {
namespace {

constexpr char kRefreshToken[] = "demo-refresh-token-ada";
constexpr char kAccessToken[] = "demo-token-ada";
// Of an account whose token the service wants to see checked every second.
constexpr char kShortLivedToken[] = "demo-token-cleo";

class Session {
public:
    Session(Transcript& transcript, const QsnLibrary& library, const std::wstring& sid)
        : m_transcript(transcript), m_qsn(library.Create()) {
        m_transcript.Expect(m_qsn && SUCCEEDED(m_qsn->Init(sid.c_str(), &m_callback)), "Init failed");
    }

    IPVSubscription2& Qsn() { return *m_qsn; }

    void Configure(int32_t item, const std::string& text) {
        auto length = static_cast<uint32_t>(text.size());
        const HRESULT hr = m_qsn->Config(item, const_cast<char*>(text.data()), &length);
        m_transcript.Expect(SUCCEEDED(hr), "a token could not be stored");
    }
    void SignIn(const char* token) {
        m_transcript.Expect(SUCCEEDED(m_qsn->SignIn(token)), "SignIn failed");
        Await(QSN_ACTION_SIGNIN_RESULT, QSN_CALLBACK_OK);
    }
    void Await(int action, int result) {
        m_transcript.Expect(NextResult(action) == result, "another result was expected");
    }
    // Where answers of an earlier state may be under way still.
    void AwaitChange(int action, int from, int to) {
        int result = NextResult(action);
        while (result == from) result = NextResult(action);
        m_transcript.Expect(result == to, "another result was expected");
    }
    std::string MemberToken() {
        char token[2048];
        uint32_t length = sizeof(token);
        const HRESULT hr = m_qsn->Config(QSNCFG_GET_MEMBER_TOKEN, token, &length);
        m_transcript.Expect(SUCCEEDED(hr), "the member token cannot be read");
        return token;
    }

private:
    int NextResult(int action) {
        const std::optional<Outcome> outcome = m_callback.WaitFor(action);
        m_transcript.Expect(outcome.has_value(), "no callback came for action " + std::to_string(action));
        m_transcript.Detail("callback",
                            "action " + std::to_string(action) + ", result " + std::to_string(outcome->result));
        return outcome->result;
    }

    struct Releaser {
        void operator()(IUnknown* object) const { object->Release(); }
    };

    Transcript& m_transcript;
    HostCallback m_callback;
    std::unique_ptr<IPVSubscription2, Releaser> m_qsn;
};

// The end of a token, its signature, is what tells one from another.
std::string Abridged(const std::string& token) {
    return "..." + token.substr(token.size() - std::min<std::size_t>(token.size(), 40));
}

void Renew(Transcript& transcript, Session& session, const std::string& endingMemberToken) {
    transcript.Step("Hold a member token that ends within a minute");
    session.Configure(QSNCFG_SET_MEMBER_TOKEN, endingMemberToken);
    session.Configure(QSNCFG_SET_REFRESH_TOKEN, kRefreshToken);
    transcript.Detail("member token", Abridged(endingMemberToken));

    transcript.Step("Ask for the second generation's product list: the token is renewed on the way");
    session.SignIn(kAccessToken);
    transcript.Expect(SUCCEEDED(session.Qsn().GetProductListV2()), "GetProductListV2 failed");
    session.Await(QSN_ACTION_GET_PRODUCTLIST_V2_RESULT, QSN_CALLBACK_OK);
    const std::string renewed = session.MemberToken();
    transcript.Detail("member token", Abridged(renewed));
    transcript.Expect(!renewed.empty() && renewed != endingMemberToken, "the member token was not renewed");
}

void NoticeRevocation(Transcript& transcript, const QsnLibrary& library, Session& session, const std::wstring& sid) {
    transcript.Step("Let the library check an access token every second");
    uint32_t on = 1;
    transcript.Expect(SUCCEEDED(session.Qsn().Config(QSNCFG_ENABLE_CHECK_TOKEN_ROUTINE, &on, nullptr)),
                      "the routine cannot be switched on");
    session.SignIn(kShortLivedToken);
    transcript.Expect(SUCCEEDED(session.Qsn().GetUserInfo()), "GetUserInfo failed");
    session.Await(QSN_ACTION_GET_USERINFO_RESULT, QSN_CALLBACK_OK);
    session.Await(QSN_ACTION_CHECK_TOKEN_ROUTINE_RESULT, QSN_CALLBACK_OK);

    transcript.Step("Sign the same user out from another program: the next check notices");
    Session other(transcript, library, sid);
    other.SignIn(kShortLivedToken);
    transcript.Expect(SUCCEEDED(other.Qsn().SignOut()), "SignOut failed");
    other.Await(QSN_ACTION_SIGNOUT_RESULT, QSN_CALLBACK_OK);
    session.AwaitChange(QSN_ACTION_CHECK_TOKEN_ROUTINE_RESULT, QSN_CALLBACK_OK, QSN_CALLBACK_SERVER_RESULT_1);
    char token[64];
    uint32_t length = 0;
    transcript.Expect(session.Qsn().GetAccessToken(token, sizeof(token), &length) == QSN_RETURN_E_NO_TOKEN,
                      "a refused token is held still");
}

}  // namespace

void ShowTokenCare(const std::wstring& sid, const std::string& endingMemberToken) {
    Transcript transcript;
    const QsnLibrary library;
    Session session(transcript, library, sid);
    Renew(transcript, session, endingMemberToken);
    NoticeRevocation(transcript, library, session, sid);
    std::printf("\nEvery step gave what it should.\n");
}

}  // namespace sample
