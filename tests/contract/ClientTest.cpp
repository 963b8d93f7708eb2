#include <qsn/client.hpp>

#include <gmock/gmock.h>

#include <set>
#include <thread>

#include "service/accounts/ProductMembers.h"
#include "service/http/ReplyGate.h"
#include "support/ImportTable.h"
#include "support/ProcessState.h"
#include "support/SharedValues.h"
#include "support/TestService.h"

namespace {

using namespace std::chrono_literals;
using namespace qsn::test;
using namespace testing;
using qsn::Client;
using qsn::Result;

const std::error_code kCancelled = std::make_error_code(std::errc::operation_canceled);
const std::error_code kInvalid = std::make_error_code(std::errc::invalid_argument);
const std::error_code kNotOpen = qsn::ErrorOf(QSN_RETURN_E_NOT_INITIALIZED);

// What other threads bring, in the order in which it came.
template <class T>
class Collection {
public:
    void Add(T item) {
        const std::lock_guard lock(m_lock);
        m_items.push_back(std::move(item));
    }
    std::vector<T> Take() {
        const std::lock_guard lock(m_lock);
        return std::exchange(m_items, {});
    }
    bool Reaches(std::size_t count) {
        return Eventually([&] {
            const std::lock_guard lock(m_lock);
            return m_items.size() >= count;
        });
    }

private:
    std::mutex m_lock;
    std::vector<T> m_items;
};

using Lines = std::vector<std::string>;
struct Journal : Collection<std::string> {
    // A completion that writes how its request ended.
    auto Line(const std::string& name) {
        return [this, name](const auto& result) { Add(name + (result ? " ok" : " " + result.Error().message())); };
    }
    // A notification.
    auto Text(const std::string& name) {
        return [this, name](const std::string& text) { Add(name + " " + text); };
    }
};

class ClientTest : public Test {
protected:
    ClientTest() {
        TestService::Instance().Reset();
        m_options.productSid = L"SID-TEST";
        m_options.libraryPath = qsn::ToWide(QSN_TEST_DLL);
        m_options.notifications.serviceMessage = m_journal.Text("message");
    }
    Client Open() { return Client::Open(m_options).Value(); }
    Client SignedIn() {
        Client client = Open();
        EXPECT_TRUE(client.SignIn(kToken).get()->signedIn);
        return client;
    }
    // Handlers run when the test says so.
    qsn::Executor Held() {
        return [this](std::function<void()> call) { m_held.Add(std::move(call)); };
    }
    void RunHeldCalls() {
        for (const auto& call : m_held.Take()) call();
    }

    SharedValues m_cleanUser;
    Journal m_journal;
    Collection<std::function<void()>> m_held;
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
        accounts.users[0].quotas["*"] = {"20270101", 1};
        accounts.users[0].userName = "Beno\xc3\xaet";
    });
    const qsn::UserInfo user = client.GetUserInfo().get().Value();
    EXPECT_EQ((Lines{user.id, user.name, user.email}), (Lines{"20417", "Beno\xc3\xaet", "ada@quillfern.example"}));
    EXPECT_EQ(user.menu.at(2).item + user.menu[2].url, "Helphttps://account.quillfern.example/help");
    EXPECT_TRUE(client.LogDownload().get());
    const qsn::Quota quota = client.QueryQuota().get().Value();
    EXPECT_EQ(quota.resetDate + "/" + std::to_string(quota.remaining), "20270101/0");
    EXPECT_EQ(client.LogDownload().get().Error(), qsn::ErrorOf(QSN_CALLBACK_SERVER_RESULT_6));
    EXPECT_TRUE(client.SignOut().get());
    EXPECT_FALSE(client.AccessToken());
}

TEST_F(ClientTest, GivesEachFieldOfAProductItsOwnMember) {
    Json::Value list(Json::arrayValue);
    Lines names;
    for (int number = 0; const auto& member : qsn::service::kProductMembers) {
        const std::string name(member.name);
        list[0][name] = member.isNumber ? Json::Value(++number) : Json::Value(name);
        if (!member.isNumber) names.push_back(name);
    }
    list[1] = Json::objectValue;
    Client client = SignedIn();
    for (const bool second : {false, true}) {
        Server().Rules().Once({.result = 0, .data = list});
        const auto products = (second ? client.GetProductListV2() : client.GetProductList()).get().Value();
        ASSERT_EQ(products.size(), 2u);
        const qsn::Product& p = products[0];
        EXPECT_THAT(names, ElementsAre(p.name, p.displayName, p.type, p.version, p.displayVersion, p.versionType,
                                       p.displayVersionType, p.sid, p.downloadUrl, p.downloadUrlMd5, p.status,
                                       p.fileSize, p.patchFileSize, p.patchDownloadUrl, p.patchDownloadUrlMd5,
                                       p.upgradeProducts, p.contentPackWebPageUrl, p.icon, p.tutorialUrl, p.introUrl,
                                       p.belongs, p.publishDate, p.extendFeature, p.patchInfo, p.whatNewUrl, p.thumb1,
                                       p.thumb2, p.contentDetail, p.contentDescription, p.demoUrl));
        EXPECT_EQ((std::vector{p.isChecked, p.isUpgraded, p.isContentPack, p.nonSilentInstallation, p.isThirdPartyPack,
                               p.backgroundMusic, p.soundClips, p.haveX64Build, p.stockVideo, p.stockPhoto}),
                  (std::vector{1, 2, 3, 4, 5, 6, 7, 8, 9, 10}));
        EXPECT_EQ(products[1].name + products[1].demoUrl, "");
    }
}

TEST_F(ClientTest, TellsInCallingOrderThroughTheExecutor) {
    m_options.executor = Held();
    Client client = SignedIn();
    Server().Rules().Once({.result = 6, .additionalMessage = "gr\xc3\xbcn"});
    client.QueryQuota([&](const Result<qsn::Quota>& quota) {
        m_journal.Line("quota")(quota);
        client.SignOut(m_journal.Line("out"));
    });
    client.SignIn(std::string(64, 'x'), m_journal.Line("long"));
    client.GetUserInfo(m_journal.Line("user"));
    EXPECT_TRUE(client.AccessToken()) << "it waits for all of them";
    EXPECT_EQ(m_journal.Take(), Lines());
    RunHeldCalls();
    EXPECT_TRUE(client.AccessToken().Error()) << "signed out by a completion";
    RunHeldCalls();
    EXPECT_EQ(m_journal.Take(),
              (Lines{"message gr\xc3\xbcn", "quota " + qsn::ErrorOf(QSN_CALLBACK_SERVER_RESULT_6).message(),
                     "long " + kInvalid.message(), "user ok", "out ok"}));
}

// Opens the gate as soon as the test's thread waits for another.
const qsn::service::ReplyGate* g_gate = nullptr;
const DWORD g_testThread = GetCurrentThreadId();
DWORD WINAPI OpenTheGateAndWait(HANDLE handle, DWORD milliseconds) {
    if (GetCurrentThreadId() == g_testThread) g_gate->Open();
    return WaitForSingleObjectEx(handle, milliseconds, FALSE);
}

// What is queued behind a request that is under way ends once, as cancelled, whichever way the queue ends.
TEST_F(ClientTest, CancelsWhatIsQueued) {
    const std::pair<const char*, void (*)(std::unique_ptr<Client>&)> ends[] = {
        {"Stop", [](auto& client) { client->Stop(); }},
        {"Close", [](auto& client) { EXPECT_TRUE(client->Close()); }},
        {"destruction", [](auto& client) { client.reset(); }},
        {"assignment", [](auto& client) { *client = Client(); }},
    };
    for (const auto& [name, end] : ends) {
        SCOPED_TRACE(name);
        auto client = std::make_unique<Client>(SignedIn());
        Server().TakeRequests();
        const auto gate = std::make_shared<const qsn::service::ReplyGate>();
        Server().Rules().Once({.gate = gate});
        Journal journal;
        client->GetUserInfo(journal.Line("user"));
        ASSERT_TRUE(gate->WaitForRequest(10s));
        client->SignOut(journal.Line("out"));
        client->QueryQuota(journal.Line("quota"));
        std::future<Result<void>> future = client->LogDownload();
        {
            g_gate = gate.get();
            const ImportHook hook("WaitForSingleObject", &OpenTheGateAndWait, nullptr);
            end(client);
        }
        gate->Open();
        const bool open = client && client->AccessToken();
        EXPECT_EQ(open, std::string_view(name) == "Stop");
        if (!open) {
            EXPECT_EQ(future.wait_for(0s), std::future_status::ready);
            EXPECT_EQ(GetModuleHandleW(L"qsn.dll"), nullptr);
        }
        EXPECT_EQ(future.get().Error(), kCancelled);
        EXPECT_EQ(journal.Take(), (Lines{"user ok", "out " + kCancelled.message(), "quota " + kCancelled.message()}));
        EXPECT_EQ(Server().TakeRequests().size(), 1u);
    }
}

TEST_F(ClientTest, EndsEachRequestOnceWhateverHappens) {
    std::atomic<int> ended{0};
    for (int round = 0; round < 5; ++round) {
        Client client = SignedIn();
        std::vector<std::jthread> threads;
        threads.reserve(3);
        for (int thread = 0; thread < 3; ++thread) {
            threads.emplace_back([&, thread] {
                for (int i = 0; i < 30; ++i) {
                    const auto end = [&](const auto&) { ++ended; };
                    i % 3 == 0 ? client.SignIn(kToken, end) : client.LogDownload(end);
                    if (i % 10 == 9) thread == 0 ? client.Stop() : void(client.AccessToken());
                }
                if (thread == 2) client.Close();
            });
        }
    }
    EXPECT_EQ(ended, 5 * 3 * 30);
}

TEST_F(ClientTest, NeverWaitsForItself) {
    auto client = std::make_unique<Client>(SignedIn());
    std::promise<std::vector<std::error_code>> errors;
    client->GetUserInfo([&](const Result<qsn::UserInfo>&) {
        errors.set_value({client->AccessToken().Error(), client->SetLanguage("de").Error(),
                          client->SetMemberToken("x").Error(), client->Close().Error(),
                          client->GetUserInfo().get().Error()});
    });
    EXPECT_EQ(errors.get_future().get(),
              std::vector(5, std::make_error_code(std::errc::resource_deadlock_would_occur)));
    EXPECT_TRUE(client->AccessToken()) << "it is open still";

    Client* const raw = client.release();
    raw->GetUserInfo([&, raw](const Result<qsn::UserInfo>&) {
        raw->SignOut(m_journal.Line("out"));
        delete raw;
        m_journal.Add("deleted");
    });
    ASSERT_TRUE(m_journal.Reaches(2));
    EXPECT_EQ(m_journal.Take(), (Lines{"deleted", "out " + kCancelled.message()}));
}

TEST_F(ClientTest, SurvivesHandlersThatThrow) {
    int failures = 0;
    m_options.notifications.serviceMessage = [](const std::string&) { throw 1; };
    m_options.notifications.handlerFailed = [&](const std::exception_ptr&) { throw ++failures; };
    Client client = SignedIn();
    Server().Rules().Once({.result = 0, .additionalMessage = "hello"});
    client.LogDownload([](const Result<void>&) { throw std::runtime_error("from a completion"); });
    client.LogDownload(nullptr);
    EXPECT_TRUE(client.GetUserInfo().get());
    EXPECT_TRUE(client.Close());
    EXPECT_EQ(failures, 2);
}

TEST_F(ClientTest, MayGoBeforeWhatItsExecutorHolds) {
    m_options.executor = Held();
    {
        Client client = SignedIn();
        Server().Rules().Once({.additionalMessage = "hello"});
        client.GetUserInfo(m_journal.Line("user"));
        ASSERT_TRUE(m_held.Reaches(2));
    }
    RunHeldCalls();
    EXPECT_EQ(m_journal.Take(), Lines{"user ok"}) << "a client that is gone notifies nobody";
}

TEST_F(ClientTest, HearsOfOtherApplications) {
    qsn::Notifications& to = m_options.notifications;
    to.signedInElsewhere = m_journal.Line("in");
    to.signedOutElsewhere = [&](const auto&) { m_journal.Add("out"); };  // the service knows no more of it
    to.memberTokenSet = m_journal.Text("member");
    Client client = Open();
    ASSERT_TRUE(client.EnableSingleSignOn(true));
    client.SignIn().get();  // a sign-in after this is noticed
    m_options.notifications = {};
    Client other = Open();
    ASSERT_TRUE(other.EnableSingleSignOn(true));
    other.SignIn(kToken).get();
    ASSERT_TRUE(m_journal.Reaches(1));
    EXPECT_EQ(*client.AccessToken(), kToken);
    ASSERT_TRUE(other.SetMemberToken("m"));
    ASSERT_TRUE(m_journal.Reaches(2));
    other.SignOut().get();
    ASSERT_TRUE(m_journal.Reaches(3));
    EXPECT_EQ(m_journal.Take(), (Lines{"in ok", "member m", "out"}));

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
    for (const std::string& token : {std::string(700, 't'), std::string()}) {
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

TEST(ClientErrors, EachCodeHasANameOfItsOwn) {
    std::set<std::string> names;
    const auto expectText = [&](const std::error_code& code) {
        const auto* const text = qsn::FindCodeText(code);
        EXPECT_TRUE(text && names.insert(text->name).second && code.message().starts_with(text->name)) << code;
    };
    for (const HRESULT hr : {E_NOTIMPL, E_NOINTERFACE, E_POINTER, E_FAIL, E_UNEXPECTED, E_OUTOFMEMORY, E_INVALIDARG})
        expectText(qsn::ErrorOf(hr));
    for (const int code : {2, 4, 5, 6}) expectText(qsn::ErrorOf(static_cast<HRESULT>(0x86210000 + code)));
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
