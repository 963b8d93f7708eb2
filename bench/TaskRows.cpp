#include <boost/asio/post.hpp>
#include <boost/asio/thread_pool.hpp>

#include <future>
#include <memory>

#include "Rows.h"
#include "Sections.h"
#include "Session.h"

namespace qsn::bench {
namespace {

constexpr int kCalls = 1000;

// A pool whose thread does nothing until it is released.
class HeldPool {
public:
    void Hold() {
        auto entered = std::make_shared<std::promise<void>>();
        auto held = entered->get_future();
        m_mayGo = std::promise<void>();
        boost::asio::post(m_pool, [entered, mayGo = std::make_shared<std::future<void>>(m_mayGo.get_future())] {
            entered->set_value();
            mayGo->wait();
        });
        held.wait();
    }
    void LetGoAndDrain() {
        m_mayGo.set_value();
        std::promise<void> drained;
        boost::asio::post(m_pool, [&] { drained.set_value(); });
        drained.get_future().wait();
    }
    void Post(std::atomic<int>& count) {
        boost::asio::post(m_pool, [&count] { ++count; });
    }

private:
    boost::asio::thread_pool m_pool{1};
    std::promise<void> m_mayGo;
};

// The worker is held meanwhile, so that only the host thread's part is measured.
double TimeOfCalls(Session& session) {
    session.HoldWorker();
    const double seconds = TimeOf([&] {
        for (int i = 0; i < kCalls; ++i) session.Qsn().GetUserInfo();
    });
    session.Qsn().Stop();
    session.LetWorkerGo();
    return seconds;
}

double TimeOfPosts(HeldPool& pool) {
    std::atomic<int> count{0};
    pool.Hold();
    const double seconds = TimeOf([&] {
        for (int i = 0; i < kCalls; ++i) pool.Post(count);
    });
    pool.LetGoAndDrain();
    return seconds;
}

Pair<TimedStep> Calls() {
    const auto session = std::make_shared<Session>();
    const auto pool = std::make_shared<HeldPool>();
    return {[session] { return TimeOfCalls(*session); }, [pool] { return TimeOfPosts(*pool); }};
}

Pair<Step> RoundTrips() {
    const auto session = std::make_shared<Session>();
    session->SignIn();
    const auto pool = std::make_shared<boost::asio::thread_pool>(1);
    const auto ours = [session] {
        char token[64];
        uint32_t length = 0;
        session->Qsn().GetAccessToken(token, sizeof(token), &length);
    };
    const auto beside = [pool] {
        auto text = std::make_shared<std::promise<std::string>>();
        std::future<std::string> result = text->get_future();
        boost::asio::post(*pool, [text] { text->set_value("token-ada"); });
        result.get();
    };
    return {ours, beside};
}

// Without a token each request ends in its callback, and nothing is sent.
double TimeOfQueue(int requests) {
    Session session;
    session.HoldWorker();
    return TimeOf([&] {
        session.Host().Expect(requests);
        for (int i = 0; i < requests; ++i) session.Qsn().GetUserInfo();
        session.Host().LetGo();
        session.Host().WaitForCalls();
    });
}

}  // namespace

void AddTaskRows() {
    AddTimedPair({"call", "1,000 calls of `GetUserInfo`, returning", "1,000 lambdas posted to a pool of one thread",
                  "a task in memory, and the wake-up of a sleeping worker", 1.5},
                 {.iterations = 5}, Calls);
    AddPair({"round-trip", "`GetAccessToken`", "post to a pool of one thread, and its future",
             "two switches of threads", 1.2},
            {.seconds = 0.2}, RoundTrips);
    AddSeries(
        {"grow-requests", "requests queued, to the last callback", {1, 10, 100, 1000, 10000, 100000}, TimeOfQueue});
}

}  // namespace qsn::bench
