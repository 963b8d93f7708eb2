// The DLL's thread primitives. No other program can link them beside its own, so they have other names here.
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

void AtTheSameTime(const std::function<void()>& work) {
    std::atomic<int> missing{4};
    std::vector<std::jthread> threads(4);
    for (std::jthread& thread : threads) {
        thread = std::jthread([&] {
            --missing;
            while (missing > 0) std::this_thread::yield();
            work();
        });
    }
}

TEST(RuntimeThreads, MutexKeepsOthersOutUntilItsOwnerHasLeftAsOftenAsItEntered) {
    for (pthread_mutex_t mutex : {0, -1, -2}) {
        int inside = 0;
        AtTheSameTime([&] {
            for (int i = 0; i < 2000; ++i) {
                tested_mutex_lock(&mutex);
                tested_mutex_lock(&mutex);
                tested_mutex_unlock(&mutex);
                EXPECT_EQ(++inside, 1);
                if (i % 100 == 0) std::this_thread::yield();
                --inside;
                tested_mutex_unlock(&mutex);
            }
        });
    }
}

TEST(RuntimeThreads, OnceRunsOnceAndNobodyGoesOnBeforeItsEnd) {
    static pthread_once_t once = PTHREAD_ONCE_INIT;
    static std::atomic<int> initialised{0};
    AtTheSameTime([] {
        tested_once(&once, [] {
            Sleep(20);
            ++initialised;
        });
        EXPECT_EQ(initialised, 1);
    });
}

TEST(RuntimeThreads, WaitLetsOthersIn) {
    pthread_mutex_t mutex = 1;
    tested_mutex_init(&mutex, nullptr);
    tested_mutex_lock(&mutex);
    bool done = false;
    const std::jthread other([&] {
        tested_mutex_lock(&mutex);
        done = true;
        tested_mutex_unlock(&mutex);
    });
    while (!done) tested_cond_wait(nullptr, &mutex);
    tested_mutex_unlock(&mutex);
}

TEST(RuntimeThreads, KeysHaveAValueAThreadAreRefusedBeyondTheLastAndGivenBack) {
    static int destroyed;
    const auto destroy = [](void*) { ++destroyed; };
    for (int round = 1; round <= 2; ++round) {
        pthread_key_t keys[kMaxKeys], refused = 0;
        for (pthread_key_t& key : keys) ASSERT_EQ(tested_key_create(&key, destroy), 0);
        EXPECT_EQ(tested_key_create(&refused, destroy), EAGAIN);
        ASSERT_EQ(tested_setspecific(keys[1], &refused), 0);
        EXPECT_EQ(tested_getspecific(keys[1]), &refused);
        std::jthread([&] { EXPECT_EQ(tested_getspecific(keys[1]), nullptr); }).join();
        ReturnKeys();
        EXPECT_EQ(destroyed, round);
    }
}

}  // namespace
