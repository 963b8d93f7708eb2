// The DLL's thread primitives, which no other program can link beside its own: here they have other names.
#include <gtest/gtest.h>
#include <pthread.h>

#include <atomic>
#include <cerrno>
#include <functional>
#include <thread>
#include <vector>

// NOLINTBEGIN(cppcoreguidelines-macro-usage, bugprone-suspicious-include)
#define pthread_once tested_once
#define pthread_mutex_init tested_mutex_init
#define pthread_mutex_destroy tested_mutex_destroy
#define pthread_mutex_lock tested_mutex_lock
#define pthread_mutex_unlock tested_mutex_unlock
#define pthread_cond_wait tested_cond_wait
#define pthread_cond_broadcast tested_cond_broadcast
#define pthread_key_create tested_key_create
#define pthread_getspecific tested_getspecific
#define pthread_setspecific tested_setspecific
#include "../../src/dll/RuntimeThreads.cpp"
// NOLINTEND(cppcoreguidelines-macro-usage, bugprone-suspicious-include)

namespace {

constexpr int kThreads = 4;

void AtTheSameTime(const std::function<void()>& work) {
    std::atomic<int> missing{kThreads};
    std::vector<std::jthread> threads;
    threads.reserve(kThreads);
    for (int i = 0; i < kThreads; ++i) {
        threads.emplace_back([&] {
            --missing;
            while (missing > 0) std::this_thread::yield();
            work();
        });
    }
}

TEST(RuntimeThreads, MutexKeepsOthersOutUntilItsOwnerHasLeftAsOftenAsItEntered) {
    for (const pthread_mutex_t initial : {pthread_mutex_t{0}, pthread_mutex_t{-1}, pthread_mutex_t{-2}}) {
        constexpr int kRounds = 2000;
        pthread_mutex_t mutex = initial;
        int inside = 0;
        int count = 0;
        AtTheSameTime([&] {
            for (int i = 0; i < kRounds; ++i) {
                tested_mutex_lock(&mutex);
                tested_mutex_lock(&mutex);
                tested_mutex_unlock(&mutex);
                EXPECT_EQ(++inside, 1);
                if (i % 100 == 0) std::this_thread::yield();
                ++count;
                --inside;
                tested_mutex_unlock(&mutex);
            }
        });
        EXPECT_EQ(count, kThreads * kRounds);
    }
}

std::atomic<int> g_initialised{0};

TEST(RuntimeThreads, OnceRunsOnceAndNobodyGoesOnBeforeItsEnd) {
    static pthread_once_t once = PTHREAD_ONCE_INIT;
    AtTheSameTime([] {
        tested_once(&once, [] {
            Sleep(20);
            ++g_initialised;
        });
        EXPECT_EQ(g_initialised, 1);
    });
    EXPECT_EQ(g_initialised, 1);
}

TEST(RuntimeThreads, WaitLetsOthersIn) {
    pthread_mutex_t mutex = 0;
    pthread_cond_t condition{};
    tested_mutex_init(&mutex, nullptr);
    bool done = false;
    tested_mutex_lock(&mutex);
    std::jthread other([&] {
        tested_mutex_lock(&mutex);
        done = true;
        tested_cond_broadcast(&condition);
        tested_mutex_unlock(&mutex);
    });
    while (!done) tested_cond_wait(&condition, &mutex);
    tested_mutex_unlock(&mutex);
    tested_mutex_destroy(&mutex);
}

std::atomic<int> g_destroyed{0};

TEST(RuntimeThreads, KeysHaveAValueAThreadAreRefusedBeyondTheLastAndGivenBack) {
    const auto destroy = [](void*) { ++g_destroyed; };
    for (int round = 0; round < 2; ++round) {
        std::vector<pthread_key_t> keys(kMaxKeys);
        for (pthread_key_t& key : keys) ASSERT_EQ(tested_key_create(&key, destroy), 0);
        pthread_key_t refused = 0;
        EXPECT_EQ(tested_key_create(&refused, destroy), EAGAIN);

        int value = 0;
        ASSERT_EQ(tested_setspecific(keys[1], &value), 0);
        EXPECT_EQ(tested_getspecific(keys[1]), &value);
        std::jthread([&] { EXPECT_EQ(tested_getspecific(keys[1]), nullptr); }).join();
        g_destroyed = 0;
        ReturnKeys();
        EXPECT_EQ(g_destroyed, 1);
    }
}

}  // namespace
