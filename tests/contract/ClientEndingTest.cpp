#include <gmock/gmock.h>

#include <future>
#include <thread>

#include "support/ClientFixture.h"
#include "support/Library.h"

namespace {

using namespace std::chrono_literals;
using namespace qsn::test;
using namespace testing;
using qsn::Client;
using qsn::Result;

// Whatever the service does, the end comes in time, and everything has been told.
TEST_F(ClientTest, EndsWithinASecond) {
    using Box = std::unique_ptr<Client>;
    const std::pair<const char*, std::function<void()>> silences[] = {
        {"service", Reply({.neverReply = true})},
        {"drip", Reply({.pieceSize = 1, .pause = 1s})},
        {"handshake", [] { Server().SetTlsFault(qsn::service::TlsFault::kSilenceInHandshake); }},
    };
    const std::tuple<const char*, ULONGLONG, void (*)(Box&)> ends[] = {
        {"Close", 980, [](Box& client) { client->Close(); }},
        {"Close at once", 0, [](Box& client) { client->Close(0ms); }},
        {"destructor", 980, [](Box& client) { client.reset(); }},
        {"assignment", 980, [](Box& client) { *client = Client(); }},
    };
    for (const auto& [silence, begin] : silences) {
        for (const auto& [name, least, end] : ends) {
            SCOPED_TRACE(std::string(silence) + ", " + name);
            auto client = std::make_unique<Client>(SignedIn());
            const auto count = [] { return Server().Count().requests + Server().Count().tunnels; };
            Server().DropConnections();
            const std::size_t before = count();
            begin();
            Journal journal;
            client->GetUserInfo(journal.Line("user"));
            client->QueryQuota(journal.Line("quota"));
            auto queued = client->LogDownload();
            ASSERT_TRUE(Eventually([&] { return count() > before; }));
            const ULONGLONG start = GetTickCount64();
            end(client);
            // A request has a second to end by itself.
            EXPECT_THAT(GetTickCount64() - start, AllOf(Ge(least), Le(least == 0 ? 150u : 1100u)));
            EXPECT_EQ(GetModuleHandleW(L"qsn.dll"), nullptr);
            EXPECT_TRUE(queued.WaitFor(0ms));
            EXPECT_EQ(queued.Get().Error(), kCancelled);
            EXPECT_THAT(journal.Take(),
                        UnorderedElementsAre("user " + kCancelled.message(), "quota " + kCancelled.message()));
            const std::error_code after = client ? client->GetUserInfo().Get().Error() : kNotOpen;
            EXPECT_EQ(after, kNotOpen);
            TestService::Instance().Reset();
        }
    }
}

TEST_F(ClientTest, EndsEachOperationOnceWhateverHappens) {
    std::atomic<int> ended{0};
    for (int round = 0; round < 5; ++round) {
        Client client = SignedIn();
        std::vector<std::jthread> threads;
        threads.reserve(3);
        for (int thread = 0; thread < 3; ++thread) {
            threads.emplace_back([&, thread] {
                for (int i = 0; i < 30; ++i) {
                    const auto end = [&](const auto&) { ++ended; };
                    const qsn::Request request = i % 3 == 0 ? client.SignIn(kToken, end) : client.LogDownload(end, 5ms);
                    if (i % 4 == 1) request.Cancel();
                    if (i % 10 == 9) thread == 0 ? client.Stop() : void(client.AccessToken().Get().Error());
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
        auto operation = client->AccessToken();
        EXPECT_FALSE(operation.WaitFor(10s));
        errors.set_value({operation.Get().Error(), client->SetLanguage("de").Get().Error()});
    });
    EXPECT_EQ(errors.get_future().get(), std::vector(2, kDeadlock));
    EXPECT_TRUE(client->AccessToken().Get()) << "it is open still";

    Client* const raw = client.release();
    raw->GetUserInfo([&, raw](const Result<qsn::UserInfo>&) {
        raw->SignOut(m_journal.Line("out"));
        delete raw;
        m_journal.Add("deleted");
    });
    ASSERT_TRUE(m_journal.Reaches(2));
    EXPECT_EQ(m_journal.Take(), (Lines{"out " + kCancelled.message(), "deleted"}));
    EXPECT_TRUE(Eventually([] { return GetModuleHandleW(L"qsn.dll") == nullptr; }));
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

}  // namespace
