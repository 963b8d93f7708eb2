#include <qsn/testing.hpp>

#include <gmock/gmock.h>

#include "support/ClientFixture.h"

namespace {

using namespace std::chrono_literals;
using namespace qsn::test;
namespace service = qsn::service;
using qsn::Client;
using qsn::FakeAnswer;

// What a host sees of the library and the bundled service, and then of the fake. There must be no difference.
class FakeLibrary : public ClientTest {
protected:
    // Calls `play` for both sides, and expects `lines` of each.
    void Compare(const std::function<void(Client&)>& play, const Lines& lines) {
        for (m_isFake = false;; m_isFake = true) {
            SCOPED_TRACE(m_isFake ? "fake" : "library");
            m_cleanUser.Clear();
            Client client = (m_isFake ? Client::Open(m_options, m_fake.Get()) : Client::Open(m_options)).Get().Value();
            EXPECT_TRUE(client.SignIn(kToken).Get()->signedIn);
            play(client);
            client.Close();
            EXPECT_EQ(m_journal.Take(), lines);
            if (m_isFake) return;
        }
    }
    void Stage(const service::ReplyChange& change, const FakeAnswer& answer) {
        if (m_isFake) return m_fake.Next(QSN_REQUEST_GET_USERINFO, answer);
        Server().Rules().Once(change, {.requestType = "getUserInfo"});
    }
    // Begins a request whose answer does not come before `Release`.
    qsn::Request Hold(Client& client, const std::string& name, qsn::TimeLimit limit = {}) {
        m_gate = std::make_shared<const service::ReplyGate>();
        Stage({.gate = m_gate}, FakeAnswer::Success().After(1h));
        const qsn::Request request = client.GetUserInfo(m_journal.Line(name), limit);
        EXPECT_TRUE(m_isFake || m_gate->WaitForRequest(10s));
        return request;
    }
    void Release() { m_isFake ? m_fake.Pass(2h) : m_gate->Open(); }

    qsn::FakeLibrary m_fake;
    bool m_isFake = false;
    std::shared_ptr<const service::ReplyGate> m_gate;
};

TEST_F(FakeLibrary, FailsAsTheLibraryDoes) {
    const std::tuple<service::ReplyChange, FakeAnswer, const char*> cases[] = {
        {{.result = 1}, FakeAnswer::Failure(QSN_CALLBACK_SERVER_RESULT_1), "qsn.callback 2 1 5, then 3"},
        {{.result = 107}, FakeAnswer::Failure(QSN_CALLBACK_SERVER_RESULT_107), "qsn.callback 107 1 5, then 3"},
        {{.result = 6}, FakeAnswer::Failure(QSN_CALLBACK_SERVER_RESULT_6), "qsn.callback 10 5, then 0"},
        {{.body = "{}"}, FakeAnswer::Failure(QSN_CALLBACK_REPLY_INCOMPLETE), "qsn.callback 5 6, then 0"},
        {{.status = 503}, FakeAnswer::Status(503), "qsn.http 503 7, then 0"},
        {{.status = 404}, FakeAnswer::Status(404), "qsn.http 404 5, then 0"},
        {{.contentLength = 1000, .closeAfterBodyBytes = 8}, FakeAnswer::NoReply(12030), "qsn.network 12030 7, then 0"},
    };
    Lines expected;
    for (const auto& each : cases) expected.emplace_back(std::get<const char*>(each));
    expected.emplace_back("-2147024809");
    const auto play = [&](Client& client) {
        for (const auto& [change, answer, told] : cases) {
            EXPECT_TRUE(client.SignIn(kToken).Get()->signedIn);
            Stage(change, answer);
            const std::error_code error = client.GetUserInfo().Get().Error();
            std::string line = error.category().name() + (' ' + std::to_string(error.value()));
            for (int number = 1; number <= 7; ++number) {
                if (error == static_cast<qsn::Condition>(number)) line += ' ' + std::to_string(number);
            }
            m_journal.Add(line + ", then " + std::to_string(client.AccessToken().Get().Error().value()));
        }
        m_journal.Add(std::to_string(client.SignIn(std::string(64, 't')).Get().Error().value()));
    };
    Compare(play, expected);
}

TEST_F(FakeLibrary, EndsWhatTheLibraryEnds) {
    const std::string cancelled = ' ' + kCancelled.message(),
                      late = ' ' + std::make_error_code(std::errc::timed_out).message();
    const auto play = [&](Client& client) {
        const qsn::Request running = Hold(client, "running");
        client.SignOut(m_journal.Line("never begun")).Cancel();
        ASSERT_TRUE(m_journal.Reaches(1));
        running.Cancel();
        ASSERT_TRUE(m_journal.Reaches(2));
        EXPECT_TRUE(client.AccessToken().Get()) << "still signed in";

        Hold(client, "out of time", 50ms);
        client.LogDownload(m_journal.Line("next"));
        if (m_isFake) m_fake.Pass(50ms);
        ASSERT_TRUE(m_journal.Reaches(4));

        Hold(client, "goes on");
        client.QueryQuota(m_journal.Line("stopped"));
        client.Stop();
        ASSERT_TRUE(m_journal.Reaches(5));
        Release();
        ASSERT_TRUE(m_journal.Reaches(6));

        client.GetUserInfo([&](const auto&) {
            client.LogDownload(m_journal.Line("after the handler"));
            m_journal.Add(client.LogDownload().Get().Error() == kDeadlock ? "would wait" : "waited");
        });
        ASSERT_TRUE(m_journal.Reaches(8));
        Hold(client, "at the end");
        client.SignOut(m_journal.Line("queued at the end"));
        client.Close(0ms);
        client.GetUserInfo(m_journal.Line("closed"));
    };
    Server().Accounts().Use([](auto& accounts) { accounts.users[0].quotas["*"].remainCount = 9; });
    Compare(play, {"never begun" + cancelled, "running" + cancelled, "out of time" + late, "next ok",
                   "stopped" + cancelled, "goes on ok", "would wait", "after the handler ok",
                   "queued at the end" + cancelled, "at the end" + cancelled, "closed " + kNotOpen.message()});
}

std::string AllFields(const std::vector<qsn::Product>& products) {
    std::string text;
    for (const qsn::Product& each : products) {
        qsn::detail::VisitFields(each, [&](int id, const auto& member) {
            if constexpr (requires { std::to_string(member); })
                text += std::to_string(id + member) + ' ';
            else
                text += member + ' ';
        });
    }
    return text;
}

TEST_F(FakeLibrary, BringsWhatItIsGiven) {
    Server().Accounts().Use([](auto& accounts) { accounts.users[0].quotas["*"] = {"20280229", 1}; });
    std::string first;
    const auto play = [&](Client& client) {
        const auto user = client.GetUserInfo().Get();
        const auto products = client.GetProductList().Get();
        const auto quota = client.QueryQuota().Get();
        if (!m_isFake) {
            m_fake.account.user = *user;
            m_fake.account.products = *products;
            m_fake.account.quota = *quota;
            first = AllFields(*products);
        }
        EXPECT_EQ(AllFields(*products), first);
        EXPECT_THAT(quota->resetDate, testing::Optional(qsn::Date{2028, 2, 29}));
        m_journal.Add(user->id + user->name + user->email + user->menu.at(2).item + quota->resetDateText);
    };
    Compare(play, {"20417Ada Quillada@quillfern.exampleHelp20280229"});
}

TEST_F(FakeLibrary, TellsOfOtherApplications) {
    qsn::Notifications& to = m_options.notifications;
    to.signedInElsewhere = m_journal.Line("in");
    to.signedOutElsewhere = [&](const auto&) { m_journal.Add("out"); };
    to.memberTokenSet = m_journal.Text("member");
    to.tokenChecked = m_journal.Line("checked");
    m_options.singleSignOn = true;
    Client client = Client::Open(m_options, m_fake.Get()).Get().Value();
    m_options.singleSignOn = false;
    const Client other = Client::Open(m_options, m_fake.Get()).Get().Value();
    EXPECT_FALSE(client.AdoptSharedSignIn().Get()->signedIn);
    m_fake.SignInElsewhere("theirs");
    EXPECT_EQ(*client.AccessToken().Get(), "theirs");
    m_fake.SetMemberToken("m");
    m_fake.CheckToken();
    m_fake.SignOutElsewhere();
    m_fake.SendServiceMessage("hello");
    EXPECT_FALSE(client.AccessToken().Get());
    EXPECT_EQ(m_journal.Take(), (Lines{"in ok", "member m", "member m", "checked ok", "checked ok", "out",
                                       "message hello", "message hello"}));
    const auto calls = m_fake.TakeCalls();
    EXPECT_EQ(calls.back().kind, QSN_REQUEST_GET_ACCESS_TOKEN);
}

}  // namespace
