#include <gmock/gmock.h>

#include <coroutine>
#include <future>
#include <map>
#include <set>
#include <thread>

#include "service/accounts/ProductMembers.h"
#include "support/ClientFixture.h"
#include "support/Fakes.h"
#include "support/Library.h"
#include "support/TraceCapture.h"

namespace {

using namespace std::chrono_literals;
using namespace qsn::test;
using namespace testing;
using qsn::Client;
using qsn::Condition;
using qsn::Result;
using qsn::service::ReplyGate;

TEST_F(ClientTest, BringsWhatTheServiceKnows) {
    Client client = Open();
    const Result<qsn::SignInState> nobody = client.AdoptSharedSignIn().Get();
    EXPECT_FALSE(nobody->signedIn);
    EXPECT_EQ(nobody->signInAddress, *client.SignInUrl().Get());
    for (const auto& error : {client.AccessToken().Get().Error(), client.GetUserInfo().Get().Error()})
        EXPECT_EQ(error, qsn::ErrorOf(QSN_CALLBACK_NOT_SIGNED_IN));

    EXPECT_TRUE(client.SignIn(kToken).Get()->signedIn);
    EXPECT_EQ(*client.AccessToken().Get(), kToken);
    Server().Accounts().Use([](qsn::service::Accounts& accounts) {
        accounts.users[0].quotas["*"] = {"20280229", 1};
        accounts.users[0].userName = "Beno\xc3\xaet";
    });
    const qsn::UserInfo user = client.GetUserInfo().Get().Value();
    EXPECT_EQ((Lines{user.id, user.name, user.email}), (Lines{"20417", "Beno\xc3\xaet", "ada@quillfern.example"}));
    EXPECT_EQ(user.menu.at(2).item + user.menu[2].url, "Helphttps://account.quillfern.example/help");
    EXPECT_TRUE(client.LogDownload().Get());
    const qsn::Quota quota = client.QueryQuota().Get().Value();
    EXPECT_EQ(quota.resetDateText + "/" + std::to_string(quota.remaining), "20280229/0");
    EXPECT_EQ(quota.resetDate, (qsn::Date{2028, 2, 29}));
    for (const char* const text : {"", "20270229", "2027-01-01", "20271301", "20270100", "2027010", "soon"}) {
        Server().Accounts().Use([&](auto& accounts) { accounts.users[0].quotas["*"].resetDate = text; });
        EXPECT_EQ(client.QueryQuota().Get()->resetDate, std::nullopt) << text;
    }
    EXPECT_TRUE(client.SignOut().Get());
    EXPECT_FALSE(client.AccessToken().Get());
}

TEST_F(ClientTest, GivesEachFieldOfAProductItsOwnMember) {
    const std::set<std::string> typed{"FileSize", "patchFileSize", "publishDate"};
    const std::set<std::string> counts{"backgroundMusic", "soundClips", "stockVideo", "stockPhoto"};
    Json::Value list(Json::arrayValue);
    Lines names, flags;
    for (const auto& member : qsn::service::kProductMembers) {
        const std::string name(member.name);
        if (!member.isNumber && !typed.contains(name)) names.emplace_back(name);
        if (member.isNumber && !counts.contains(name)) flags.emplace_back(name);
        list[0][name] = member.isNumber ? Json::Value(0) : Json::Value(name);
    }
    for (int number = 0; const auto& name : counts) list[0][name] = ++number;
    list[0]["FileSize"] = "18446744073709551615";
    list[0]["publishDate"] = "20261231";
    list[1] = Json::objectValue;
    Client client = SignedIn();
    Server().Rules().Once({.result = 0, .data = list});
    const auto products = client.GetProductListV2().Get().Value();
    ASSERT_EQ(products.size(), 2u);
    const qsn::Product& p = products[0];
    EXPECT_THAT(names,
                ElementsAre(p.name, p.displayName, p.type, p.version, p.displayVersion, p.versionType,
                            p.displayVersionType, p.sid, p.downloadUrl, p.downloadUrlMd5, p.status, p.patchDownloadUrl,
                            p.patchDownloadUrlMd5, p.upgradeProducts, p.contentPackWebPageUrl, p.icon, p.tutorialUrl,
                            p.introUrl, p.belongs, p.extendFeature, p.patchInfo, p.whatNewUrl, p.thumb1, p.thumb2,
                            p.contentDetail, p.contentDescription, p.demoUrl));
    EXPECT_EQ((std::vector{p.backgroundMusic, p.soundClips, p.stockPhoto, p.stockVideo}), (std::vector{1, 2, 3, 4}));
    EXPECT_EQ((std::vector{p.fileSize, p.patchFileSize}), (std::vector<std::uint64_t>{~std::uint64_t{0}, 0}));
    EXPECT_EQ(p.publishDate, (qsn::Date{2026, 12, 31}));
    EXPECT_EQ(p.publishDateText, "20261231");
    EXPECT_EQ(products[1].name + products[1].demoUrl, "");
    for (const std::string& set : flags) {
        for (const std::string& name : flags) list[0][name] = name == set ? 1 : 0;
        Server().Rules().Once({.result = 0, .data = list});
        const qsn::Product flagged = client.GetProductList().Get()->at(0);
        const std::map<std::string, bool> all{
            {"isChecked", flagged.isChecked},         {"isUpgraded", flagged.isUpgraded},
            {"isContentPack", flagged.isContentPack}, {"nonSilentInstallation", flagged.nonSilentInstallation},
            {"haveX64Build", flagged.haveX64Build},   {"isThirdPartyPack", flagged.isThirdPartyPack}};
        EXPECT_EQ(all.size(), flags.size());
        for (const auto& [name, value] : all) EXPECT_EQ(value, name == set) << name << " for " << set;
    }
}

TEST_F(ClientTest, TellsEachRequestItsOwnOutcomeThroughTheExecutor) {
    m_options.executor = Held();
    Client client = SignedIn();
    Json::Value first;
    first["userName"] = "first";
    const auto gate = std::make_shared<const ReplyGate>();
    Server().Rules().Once({.result = 0, .additionalMessage = "gr\xc3\xbcn", .data = first, .gate = gate});
    const auto name = [&](const Result<qsn::UserInfo>& user) {
        m_journal.Add(user->name);
        client.SignOut(m_journal.Line("out"));
    };
    client.GetUserInfo(name);
    const qsn::Request second = client.GetUserInfo([&](const auto& user) { m_journal.Add(user->name); });
    client.GetUserInfo(m_journal.Line("third")).Cancel();
    client.GetProductList(nullptr);
    auto operation = client.GetUserInfo();
    ASSERT_TRUE(gate->WaitForRequest(10s));
    EXPECT_FALSE(operation.WaitFor(0ms));
    gate->Open();
    EXPECT_EQ(operation.Get()->name, "Ada Quill") << "without the executor's help";
    EXPECT_EQ(operation.Get().Error(), kInvalid) << "it was taken";
    EXPECT_EQ(m_journal.Take(), Lines());
    RunHeldCalls();
    EXPECT_EQ(client.AccessToken().Get().Error(), Condition::kSignInRequired) << "signed out by a completion";
    RunHeldCalls();
    second.Cancel();
    EXPECT_THAT(m_journal.Take(), UnorderedElementsAre("message gr\xc3\xbcn", "first", "Ada Quill",
                                                       "third " + kCancelled.message(), "out ok"));
}

TEST_F(ClientTest, CancelsWhatRunsAndWhatIsQueued) {
    Client client = SignedIn();
    const auto gate = HoldNext("getUserInfo");
    auto running = client.GetUserInfo();
    auto queued = client.LogDownload();
    auto next = client.GetUserInfo();
    ASSERT_TRUE(gate->WaitForRequest(10s));
    queued.Cancel();
    EXPECT_TRUE(queued.WaitFor(50ms)) << "while another one runs";
    running.Cancel();
    EXPECT_TRUE(running.WaitFor(50ms));
    EXPECT_EQ(queued.Get().Error(), kCancelled);
    EXPECT_EQ(running.Get().Error(), kCancelled);
    EXPECT_EQ(next.Get()->name, "Ada Quill");
    next.Cancel();
    Lines sent;
    for (const auto& request : Server().TakeRequests()) sent.push_back(request.requestType);
    EXPECT_EQ(sent, (Lines{"getUserInfo", "getUserInfo"}));
}

struct Failure {
    const char* name;
    std::function<void()> stage;
    std::error_code error;
    std::set<Condition> conditions;
};

TEST_F(ClientTest, TellsFailuresApart) {
    using enum Condition;
    using qsn::service::TlsFault;
    Collection<bool> canRetry;
    m_options.log = [&](const qsn::LogRecord& record) {
        if (record.event == QSN_LOG_REQUEST_COMPLETED && record.action == QSN_REQUEST_GET_USERINFO)
            canRetry.Add(record.outcome.canRetry != 0);
    };
    const auto tls = [](TlsFault fault) { return [fault] { Server().SetTlsFault(fault); }; };
    const auto result = [](QSN_CALLBACK_RESULT code) { return qsn::ErrorOf(code); };
    const auto http = [](int status) { return std::error_code(status, qsn::HttpCategory()); };
    std::optional<FakeNetwork> network;
    const Failure failures[] = {
        {"offline", [&] { network.emplace().SetAlive(false); }, Network(12163), {kOffline, kTransient}},
        {"proxy", [] { Server().RefuseTunnels(403); }, Network(12029), {kOffline, kTransient}},
        {"lost", Reply({.closeBeforeReply = true}), Network(12030), {kTransient}},
        {"too late", Reply({.neverReply = true}), std::make_error_code(std::errc::timed_out), {kTimedOut, kTransient}},
        {"expired", tls(TlsFault::kExpiredCertificate), Network(12037), {kProtocol}},
        {"other host", tls(TlsFault::kOtherHostCertificate), Network(12038), {kProtocol}},
        {"unknown", tls(TlsFault::kUnknownAuthority), Network(12045), {kProtocol}},
        {"no TLS", tls(TlsFault::kPlainText), Network(12157), {kProtocol, kTransient}},
        {"503", Reply({.status = 503}), http(503), {kTransient}},
        {"429", Reply({.status = 429}), http(429), {kTransient}},
        {"404", Reply({.status = 404}), http(404), {kRefused}},
        {"302", Reply({.status = 302}), http(302), {kProtocol}},
        {"no JSON", Reply({.body = "hello"}), result(QSN_CALLBACK_NETWORK_OR_UNKNOWN), {kProtocol}},
        {"no result", Reply({.body = "{}"}), result(QSN_CALLBACK_REPLY_INCOMPLETE), {kProtocol}},
        {"forged",
         Reply({.digest = qsn::service::PairFault::kWrong}),
         result(QSN_CALLBACK_REPLY_NOT_AUTHENTIC),
         {kProtocol}},
        {"declined", Reply({.result = 6}), result(QSN_CALLBACK_SERVER_RESULT_6), {kRefused}},
        {"token", Reply({.result = 1}), result(QSN_CALLBACK_SERVER_RESULT_1), {kSignInRequired, kRefused}},
        {"ended", Reply({.result = 101}), result(QSN_CALLBACK_SERVER_RESULT_101), {kSignInRequired, kRefused}},
    };
    Client client = Open();
    for (const Failure& each : failures) {
        SCOPED_TRACE(each.name);
        Server().DropConnections();
        EXPECT_TRUE(client.SignIn(kToken).Get());
        each.stage();
        const ULONGLONG start = GetTickCount64();
        const std::error_code error = client.GetUserInfo(500ms).Get().Error();
        const ULONGLONG took = GetTickCount64() - start;
        const bool timed = each.conditions.contains(kTimedOut);
        EXPECT_THAT(took, AllOf(Ge(timed ? 490u : 0u), Le(600u)));
        EXPECT_EQ(error, each.error) << error.message();
        std::set<Condition> conditions;
        for (int number = 1; number <= 7; ++number) {
            if (error == static_cast<Condition>(number)) conditions.insert(static_cast<Condition>(number));
        }
        EXPECT_EQ(conditions, each.conditions);
        EXPECT_THAT(canRetry.Take(), ElementsAre(conditions.contains(kTransient)));
        network.reset();
        TestService::Instance().Reset();
    }
}

TEST_F(ClientTest, TellsOfHandlersThatThrow) {
    std::atomic<int> failures{0};
    m_options.notifications.serviceMessage = [](const std::string&) { throw 1; };
    m_options.notifications.handlerFailed = [&](const std::exception_ptr&) { throw ++failures; };
    const TraceCapture output;
    Client client = SignedIn();
    Server().Rules().Once({.result = 0, .additionalMessage = "hello"});
    client.LogDownload([](const Result<void>&) { throw std::runtime_error("from a completion"); });
    EXPECT_TRUE(client.GetUserInfo().Get());
    client.Close();
    EXPECT_EQ(failures, 2);
    const std::string begin = "a handler has thrown: ", too = begin + "handlerFailed did, too\n";
    EXPECT_EQ(output.Lines(), (Lines{begin + "no std::exception\n", too, begin + "from a completion\n", too}));
}

// A coroutine that nobody waits for.
struct Task {
    struct promise_type {
        Task get_return_object() { return {}; }
        std::suspend_never initial_suspend() noexcept { return {}; }
        std::suspend_never final_suspend() noexcept { return {}; }
        void return_void() {}
        void unhandled_exception() { throw; }
    };
};
Task AwaitAll(const qsn::Options& options, Journal& journal) {
    const DWORD thread = GetCurrentThreadId();
    Client client = (co_await Client::Open(options)).Value();
    journal.Line("in")(co_await client.SignIn(kToken));
    auto cancelled = client.LogDownload();
    cancelled.Cancel();
    auto user = client.GetUserInfo();
    journal.Line("cancelled")(co_await cancelled);
    journal.Add((co_await user)->name);
    journal.Add(GetCurrentThreadId() == thread ? "here" : "elsewhere");
    throw std::runtime_error("from a coroutine");
}

TEST_F(ClientTest, CanBeAwaited) {
    m_options.notifications.handlerFailed = [&](const std::exception_ptr&) { m_journal.Add("failed"); };
    for (const bool held : {false, true}) {
        if (held) m_options.executor = Held();
        const auto never = HoldNext("gicount_log"), gate = HoldNext("getUserInfo");
        AwaitAll(m_options, m_journal);
        gate->Open();
        const auto isOver = [&] { return RunHeldCalls(), m_journal.Count() == 5; };
        ASSERT_TRUE(Eventually(isOver));
        EXPECT_EQ(m_journal.Take(), (Lines{"in ok", "cancelled " + kCancelled.message(), "Ada Quill",
                                           held ? "here" : "elsewhere", "failed"}));
        EXPECT_TRUE(Eventually([] { return GetModuleHandleW(L"qsn.dll") == nullptr; }));
    }
}

TEST_F(ClientTest, HearsOfOtherApplications) {
    qsn::Notifications& to = m_options.notifications;
    to.signedInElsewhere = m_journal.Line("in");
    to.signedOutElsewhere = [&](const auto&) { m_journal.Add("out"); };  // the service knows no more of it
    to.memberTokenSet = m_journal.Text("member");
    m_options.singleSignOn = true;
    Client client = Open();
    EXPECT_FALSE(client.AdoptSharedSignIn().Get()->signedIn);  // a sign-in after this is noticed
    m_options.notifications = {};
    Client other = Open();
    EXPECT_TRUE(other.SignIn(kToken).Get());
    ASSERT_TRUE(m_journal.Reaches(1));
    EXPECT_EQ(*client.AccessToken().Get(), kToken);
    EXPECT_TRUE(other.SetMemberToken("m").Get());
    ASSERT_TRUE(m_journal.Reaches(2));
    EXPECT_TRUE(other.SignOut().Get());
    ASSERT_TRUE(m_journal.Reaches(3));
    EXPECT_EQ(m_journal.Take(), (Lines{"in ok", "member m", "out"}));
}

TEST_F(ClientTest, SetsWhatItIsOpenedWith) {
    m_options.language = "de";
    m_options.extendData = "\xc3\xa4";
    m_options.platform = qsn::Platform::k64Bit;
    m_options.testbed = true;
    m_options.productSid.assign(3000, L's');
    Client client = Open();
    EXPECT_TRUE(client.SignIn(kStagingToken).Get()->signedIn);
    EXPECT_TRUE(client.GetProductList().Get());
    const auto requests = Server().TakeRequests();
    ASSERT_EQ(requests.size(), 1u);
    EXPECT_THAT(requests[0].body, AllOf(HasSubstr("\"lang\":\"de\""), HasSubstr("\\u00e4"), HasSubstr("\"x64\"")));
    EXPECT_GT(client.SignInUrl().Get()->size(), 3000u);
    for (const std::string& token : {std::string(700, 't'), std::string()}) {
        EXPECT_TRUE(client.SetMemberToken(token).Get());
        EXPECT_EQ(*client.MemberToken().Get(), token);
    }
    const std::string zero("a\0b", 3), tooLong(64, 'x');
    EXPECT_EQ(client.SignIn(zero).Get().Error(), kInvalid);
    EXPECT_EQ(client.SetLanguage(zero).Get().Error(), kInvalid);
    for (const std::string& token : {std::string(), tooLong})
        EXPECT_EQ(client.SignIn(token).Get().Error(), qsn::ErrorOf(E_INVALIDARG));
    EXPECT_EQ(Client().GetUserInfo().Get().Error(), kNotOpen);
}

TEST_F(ClientTest, SaysWhyItCannotBeOpened) {
    const auto error = [&](const auto& change) {
        qsn::Options options = m_options;
        change(options);
        Client::Open(options, m_journal.Line("open"));
        EXPECT_TRUE(m_journal.Reaches(1));
        const std::error_code given = Client::Open(options).Get().Error();
        EXPECT_EQ(m_journal.Take(), Lines{"open " + given.message()});
        EXPECT_TRUE(Eventually([] { return GetModuleHandleW(L"qsn.dll") == nullptr; }));
        return given;
    };
    EXPECT_EQ(error([](auto& options) { options.productSid.clear(); }), kInvalid);
    EXPECT_EQ(error([](auto& options) { options.extendData.assign(2, '\0'); }), kInvalid);
    EXPECT_EQ(error([](auto& options) { options.libraryPath = L"none.dll"; }),
              std::error_code(ERROR_MOD_NOT_FOUND, std::system_category()));
    EXPECT_EQ(error([](auto& options) { options.log = [](auto&) {}, options.logLevel = qsn::LogLevel(); }),
              qsn::ErrorOf(E_INVALIDARG));
    const auto none = qsn::Library::From([](void**) -> HRESULT { return E_FAIL; });
    EXPECT_EQ(Client::Open(m_options, none).Get().Error(), qsn::ErrorOf(E_FAIL));
    const Library own;
    EXPECT_TRUE(Client::Open(m_options, qsn::Library::From(own.Factory())).Get());
    auto cancelled = Client::Open(m_options);
    cancelled.Cancel();
    const Result<Client> client = cancelled.Get();
    EXPECT_TRUE(client || client.Error() == kCancelled) << client.Error();
}

}  // namespace
