#include <qsn/client.hpp>

#include <gtest/gtest.h>

#include <algorithm>
#include <set>
#include <thread>

#include "support/ProcessState.h"
#include "support/SharedValues.h"
#include "support/TestService.h"

namespace {

using namespace std::chrono_literals;
using namespace qsn::test;
using qsn::Client;
using qsn::Result;

const std::error_code kCancelled = std::make_error_code(std::errc::operation_canceled);
const std::error_code kDeadlock = std::make_error_code(std::errc::resource_deadlock_would_occur);
const std::error_code kInvalid = std::make_error_code(std::errc::invalid_argument);
const std::error_code kNotOpen = qsn::ErrorOf(QSN_RETURN_E_NOT_INITIALIZED);

// Lines that handlers write, in the order in which they ran.
class Journal {
public:
    void Add(const std::string& line) {
        const std::lock_guard lock(m_lock);
        m_lines.push_back(line);
    }
    template <class T>
    std::function<void(Result<T>)> Line(const std::string& name) {
        return [this, name](const Result<T>& result) { Add(name + (result ? " ok" : " " + result.Error().message())); };
    }
    std::vector<std::string> Lines() {
        const std::lock_guard lock(m_lock);
        return m_lines;
    }
    bool Reaches(std::size_t count) {
        return Eventually([&] { return Lines().size() >= count; });
    }

private:
    std::mutex m_lock;
    std::vector<std::string> m_lines;
};

// A thread of the host's that runs what it is given when the test says so.
class HeldExecutor {
public:
    qsn::Executor Function() {
        return [this](std::function<void()> call) {
            const std::lock_guard lock(m_lock);
            m_calls.push_back(std::move(call));
        };
    }
    std::size_t Count() {
        const std::lock_guard lock(m_lock);
        return m_calls.size();
    }
    void RunAll() {
        std::vector<std::function<void()>> calls;
        {
            const std::lock_guard lock(m_lock);
            calls.swap(m_calls);
        }
        for (const auto& call : calls) call();
    }

private:
    std::mutex m_lock;
    std::vector<std::function<void()>> m_calls;
};

class ClientTest : public testing::Test {
protected:
    ClientTest() {
        TestService::Instance().Reset();
        m_options.productSid = L"SID-TEST";
        m_options.libraryPath = qsn::ToWide(QSN_TEST_DLL);
    }
    Client Open() { return Client::Open(m_options).Value(); }
    Client SignedIn() {
        Client client = Open();
        EXPECT_TRUE(client.SignIn(kToken).get()->signedIn);
        return client;
    }
    static qsn::service::AccountServer& Server() { return TestService::Instance().Server(); }

    SharedValues m_cleanUser;
    Journal m_journal;
    qsn::Options m_options;
};

TEST_F(ClientTest, BringsWhatTheServiceKnows) {
    Client client = Open();
    const Result<qsn::SignInState> nobody = client.SignIn().get();
    EXPECT_FALSE(nobody->signedIn);
    EXPECT_EQ(nobody->loginAddress, *client.SignInUrl());
    EXPECT_EQ(client.AccessToken().Error(), qsn::ErrorOf(QSN_RETURN_E_NO_TOKEN));
    EXPECT_EQ(client.GetUserInfo().get().Error(), qsn::ErrorOf(QSN_CALLBACK_NOT_SIGNED_IN));

    EXPECT_TRUE(client.SignIn(kToken).get()->signedIn);
    EXPECT_EQ(*client.AccessToken(), kToken);
    Server().Accounts().Use([](qsn::service::Accounts& accounts) {
        accounts.users[0].quotas["*"] = {"20270101", 2};
        accounts.users[0].userName = "Beno\xc3\xaet";
    });
    const qsn::UserInfo user = client.GetUserInfo().get().Value();
    EXPECT_EQ(user.id + user.name + user.email,
              "20417Beno\xc3\xaet"
              "ada@quillfern.example");
    ASSERT_EQ(user.menu.size(), 3u);
    EXPECT_EQ(user.menu[2].item + user.menu[2].url, "Helphttps://account.quillfern.example/help");
    EXPECT_TRUE(client.LogDownload().get());
    const qsn::Quota quota = client.QueryQuota().get().Value();
    EXPECT_EQ(quota.resetDate, "20270101");
    EXPECT_EQ(quota.remaining, 1u);
    EXPECT_TRUE(client.SignOut().get());
    EXPECT_FALSE(client.AccessToken());
}

TEST_F(ClientTest, GivesEachFieldOfAProductItsOwnMember) {
    Json::Value reply;
    reply["productName"] = "a", reply["displayProductName"] = "b", reply["sid"] = "c", reply["FileSize"] = "7";
    reply["downloadURLMD5"] = "d", reply["patchDownloadURLMD5"] = "e", reply["publishDate"] = "f";
    reply["thumb1"] = "g", reply["thumb2"] = "h", reply["demoUrl"] = "i", reply["isChecked"] = 1;
    reply["soundClips"] = 2, reply["stockVideo"] = 3, reply["stockPhoto"] = 4;
    Json::Value list(Json::arrayValue);
    list.append(reply);
    list.append(Json::Value(Json::objectValue));
    Client client = SignedIn();
    for (const bool second : {false, true}) {
        Server().Rules().Once({.result = 0, .data = list});
        const auto products = (second ? client.GetProductListV2() : client.GetProductList()).get().Value();
        ASSERT_EQ(products.size(), 2u);
        const qsn::Product& full = products[0];
        EXPECT_EQ(full.name + full.displayName + full.sid + full.downloadUrlMd5 + full.patchDownloadUrlMd5 +
                      full.publishDate + full.thumb1 + full.thumb2 + full.demoUrl + full.fileSize,
                  "abcdefghi7");
        EXPECT_EQ((std::vector{full.isChecked, full.soundClips, full.stockVideo, full.stockPhoto, full.haveX64Build}),
                  (std::vector{1, 2, 3, 4, 0}));
        EXPECT_EQ(products[1].name + products[1].demoUrl, "");
    }
    std::set<int32_t> ids;
    for (const auto& each : qsn::detail::kProductTexts) ids.insert(each.id);
    for (const auto& each : qsn::detail::kProductNumbers) ids.insert(each.id);
    EXPECT_EQ(ids.size(), 40u) << "of the 45 ids five are reserved";
}

TEST_F(ClientTest, TellsInCallingOrderThroughTheExecutor) {
    HeldExecutor executor;
    m_options.executor = executor.Function();
    m_options.notifications.serviceMessage = [&](const std::string& text) { m_journal.Add("message " + text); };
    Client client = SignedIn();
    Server().Rules().Once({.result = 6, .additionalMessage = "hello"});
    client.QueryQuota([&](const Result<qsn::Quota>& quota) {
        m_journal.Line<qsn::Quota>("quota")(quota);
        client.SignOut(m_journal.Line<void>("out"));
    });
    client.SignIn(std::string(64, 'x'), m_journal.Line<qsn::SignInState>("long"));
    client.GetUserInfo(m_journal.Line<qsn::UserInfo>("user"));
    EXPECT_TRUE(client.AccessToken()) << "it waits for all of them";
    EXPECT_TRUE(m_journal.Lines().empty());
    executor.RunAll();
    EXPECT_TRUE(client.AccessToken().Error()) << "signed out by a completion";
    executor.RunAll();
    EXPECT_EQ(m_journal.Lines(), (std::vector<std::string>{
                                     "message hello", "quota " + qsn::ErrorOf(QSN_CALLBACK_SERVER_RESULT_6).message(),
                                     "long " + kInvalid.message(), "user ok", "out ok"}));
}

// What is queued behind a request that is under way ends once, as cancelled, whichever way the queue ends.
TEST_F(ClientTest, CancelsWhatIsQueued) {
    struct {
        const char* name;
        void (*end)(std::unique_ptr<Client>& client);
        std::error_code after;
    } const cases[] = {
        {"Stop", [](std::unique_ptr<Client>& client) { client->Stop(); }, {}},
        {"Close", [](std::unique_ptr<Client>& client) { EXPECT_TRUE(client->Close()); }, kNotOpen},
        {"destruction", [](std::unique_ptr<Client>& client) { client.reset(); }, kNotOpen},
        {"assignment", [](std::unique_ptr<Client>& client) { *client = Client(); }, kNotOpen},
    };
    for (const auto& each : cases) {
        auto client = std::make_unique<Client>(SignedIn());
        Server().TakeRequests();
        Server().Rules().Once({.delay = 200ms});
        Journal journal;
        client->GetUserInfo(journal.Line<qsn::UserInfo>("user"));
        ASSERT_TRUE(Server().WaitForRequests(1, 10s));
        client->SignOut(journal.Line<void>("out"));
        client->QueryQuota(journal.Line<qsn::Quota>("quota"));
        std::future<Result<void>> future = client->LogDownload();
        each.end(client);
        if (each.after == kNotOpen) {
            EXPECT_EQ(future.wait_for(0s), std::future_status::ready) << each.name;
            EXPECT_EQ(GetModuleHandleW(L"qsn.dll"), nullptr) << each.name;
        }
        EXPECT_EQ(future.get().Error(), kCancelled) << each.name;
        EXPECT_EQ(journal.Lines(),
                  (std::vector<std::string>{"user ok", "out " + kCancelled.message(), "quota " + kCancelled.message()}))
            << each.name;
        EXPECT_EQ(Server().TakeRequests().size(), 1u) << each.name;
        if (client) {
            EXPECT_EQ(client->AccessToken().Error(), each.after) << each.name;
        }
    }
}

TEST_F(ClientTest, EndsEachRequestOnceWhateverHappens) {
    std::atomic<int> made{0};
    std::atomic<int> ended{0};
    for (int round = 0; round < 5; ++round) {
        Client client = SignedIn();
        std::thread threads[3];
        for (int thread = 0; thread < 3; ++thread) {
            threads[thread] = std::thread([&, thread] {
                for (int i = 0; i < 30; ++i) {
                    ++made;
                    const auto end = [&](const auto&) { ++ended; };
                    i % 3 == 0 ? client.SignIn(kToken, end) : client.LogDownload(end);
                    if (i % 10 == 9) thread == 0 ? client.Stop() : void(client.AccessToken());
                }
                if (thread == 2) client.Close();
            });
        }
        for (std::thread& each : threads) each.join();
    }
    EXPECT_EQ(ended, made);
}

TEST_F(ClientTest, NeverWaitsForItself) {
    auto client = std::make_unique<Client>(SignedIn());
    std::promise<std::vector<std::error_code>> errors;
    client->GetUserInfo([&](const Result<qsn::UserInfo>&) {
        errors.set_value({client->AccessToken().Error(), client->SetLanguage("de").Error(),
                          client->SetMemberToken("x").Error(), client->Close().Error(),
                          client->GetUserInfo().get().Error()});
    });
    EXPECT_EQ(errors.get_future().get(), std::vector(5, kDeadlock));
    EXPECT_TRUE(client->AccessToken()) << "it is open still";

    Client* const raw = client.release();
    raw->GetUserInfo([&, raw](const Result<qsn::UserInfo>&) {
        raw->SignOut(m_journal.Line<void>("out"));
        delete raw;
        m_journal.Add("deleted");
    });
    ASSERT_TRUE(m_journal.Reaches(2));
    EXPECT_EQ(m_journal.Lines(), (std::vector<std::string>{"deleted", "out " + kCancelled.message()}));
}

TEST_F(ClientTest, SurvivesHandlersThatThrow) {
    int failures = 0;
    m_options.notifications.serviceMessage = [](const std::string&) { throw 1; };
    m_options.notifications.handlerFailed = [&](const std::exception_ptr&) {
        ++failures;
        throw std::runtime_error("and this one, too");
    };
    Client client = SignedIn();
    Server().Rules().Once({.result = 0, .additionalMessage = "hello"});
    client.LogDownload([](const Result<void>&) { throw std::runtime_error("from a completion"); });
    client.LogDownload(nullptr);
    EXPECT_TRUE(client.GetUserInfo().get());
    EXPECT_TRUE(client.Close());
    EXPECT_EQ(failures, 2);
}

TEST_F(ClientTest, MayGoBeforeWhatItsExecutorHolds) {
    HeldExecutor executor;
    m_options.executor = executor.Function();
    m_options.notifications.serviceMessage = [&](const std::string& text) { m_journal.Add(text); };
    {
        Client client = SignedIn();
        Server().Rules().Once({.additionalMessage = "hello"});
        client.GetUserInfo(m_journal.Line<qsn::UserInfo>("user"));
        ASSERT_TRUE(Eventually([&] { return executor.Count() == 2; }));
    }
    executor.RunAll();
    EXPECT_EQ(m_journal.Lines(), std::vector<std::string>{"user ok"}) << "a client that is gone notifies nobody";
}

TEST_F(ClientTest, HearsOfOtherApplications) {
    qsn::Notifications& to = m_options.notifications;
    to.signedInElsewhere = m_journal.Line<qsn::SignInState>("in");
    to.signedOutElsewhere = [&](const Result<void>&) { m_journal.Add("out"); };  // the service knows no more of it
    to.memberTokenSet = [&](const std::string& token) { m_journal.Add("member " + token); };
    Client client = Open();
    ASSERT_TRUE(client.EnableSingleSignOn(true));
    client.SignOut().get();  // makes the shared values known: the first look would only take note of them
    m_options.notifications = {};
    Client other = Open();
    ASSERT_TRUE(other.EnableSingleSignOn(true));
    other.SignIn(kToken).get();
    ASSERT_TRUE(m_journal.Reaches(1));
    EXPECT_EQ(*client.AccessToken(), kToken);
    ASSERT_TRUE(other.SetMemberToken("m"));
    ASSERT_TRUE(m_journal.Reaches(2));
    EXPECT_EQ(*client.MemberToken(), "m");
    other.SignOut().get();
    ASSERT_TRUE(m_journal.Reaches(3));
    EXPECT_EQ(m_journal.Lines(), (std::vector<std::string>{"in ok", "member m", "out"}));

    // The library drops a shared token of this length in silence.
    SharedValues::WriteToken("SSO", std::string(64, 'x'));
    EXPECT_EQ(other.SignIn().get().Error(), qsn::ErrorOf(E_FAIL));
    EXPECT_FALSE(other.AccessToken());
}

TEST_F(ClientTest, RefusesWhatTheLibraryWouldCutShort) {
    Client client = Open();
    EXPECT_EQ(client.SignIn(std::string("a\0b", 3)).get().Error(), kInvalid);
    EXPECT_EQ(client.SetLanguage(std::wstring(L"a\0b", 3)).Error(), kInvalid);
    EXPECT_EQ(client.SetMemberToken(std::string("a\0b", 3)).Error(), kInvalid);
    const std::string longToken(700, 't');
    for (const std::string& token : {longToken, std::string()}) {
        ASSERT_TRUE(client.SetMemberToken(token));
        EXPECT_EQ(*client.MemberToken(), token);
    }
    m_options.productSid.assign(3000, L's');
    EXPECT_GT(Open().SignInUrl()->size(), 3000u);

    Client closed;
    EXPECT_EQ(closed.GetUserInfo().get().Error(), kNotOpen);
    EXPECT_EQ(closed.AccessToken().Error(), kNotOpen);
    EXPECT_THROW(closed.AccessToken().Value(), std::system_error);
    m_options.libraryPath = L"none.dll";
    EXPECT_EQ(Client::Open(m_options).Error(), std::error_code(ERROR_MOD_NOT_FOUND, std::system_category()));
}

TEST(ClientErrors, EachCodeHasANameAndASentence) {
    std::set<std::string> names;
    const auto expectText = [&](const std::error_code& code) {
        const qsn::CodeText* const text = qsn::FindCodeText(code);
        ASSERT_NE(text, nullptr) << code;
        EXPECT_EQ(code.message(), std::string(text->name) + ": " + text->sentence);
        EXPECT_EQ(code.message().back(), '.');
        EXPECT_TRUE(names.insert(text->name).second) << text->name;
    };
    for (const HRESULT hr :
         {E_NOTIMPL, E_NOINTERFACE, E_POINTER, E_FAIL, E_UNEXPECTED, E_OUTOFMEMORY, E_INVALIDARG, QSN_RETURN_E_NO_TOKEN,
          QSN_RETURN_E_NOT_INITIALIZED, QSN_RETURN_E_ALREADY_INITIALIZED, QSN_RETURN_E_TIMEOUT})
        expectText(qsn::ErrorOf(hr));
    for (const int code : {1, 2, 3, 4, 5, 8, 9, 10, 11, 101, 102, 103, 104, 105, 106, 107})
        expectText(qsn::ErrorOf(static_cast<QSN_CALLBACK_RESULT>(code)));
    EXPECT_NE(qsn::ErrorOf(static_cast<QSN_CALLBACK_RESULT>(99)).message().find("0x00000063"), std::string::npos);
}

TEST(ClientTexts, GoBetweenUtf8AndUtf16) {
    EXPECT_EQ(qsn::ToWide("Beno\xc3\xaet \xf0\x9f\x8c\xbf"), L"Beno\u00eet \U0001F33F");
    EXPECT_EQ(qsn::ToUtf8(L"Beno\u00eet \U0001F33F"), "Beno\xc3\xaet \xf0\x9f\x8c\xbf");
    EXPECT_EQ(qsn::ToWide(std::string("a\0b", 3)).size(), 3u);
    EXPECT_EQ(qsn::ToUtf8(L"") + qsn::ToUtf8(qsn::ToWide("\xff")), "\xef\xbf\xbd");
}

}  // namespace
