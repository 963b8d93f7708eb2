// The shortest host: the user signs in on a page in the browser, and this prints their name.

#include <qsn/client/interactive.hpp>

#include <cstdio>
#include <exception>
#include <future>

namespace {

// A coroutine whose end can be waited for.
struct Task : std::future<void> {
    struct promise_type : std::promise<void> {
        Task get_return_object() { return {get_future()}; }
        std::suspend_never initial_suspend() noexcept { return {}; }
        std::suspend_never final_suspend() noexcept { return {}; }
        void return_void() { set_value(); }
        void unhandled_exception() { set_exception(std::current_exception()); }
    };
};

Task Greet(qsn::Client& client) {
    (co_await qsn::SignInInteractive(client)).Value();
    const qsn::UserInfo user = (co_await client.GetUserInfo()).Value();
    std::printf("Hello, %s!\n", user.name.c_str());
    co_return;  // cppcheck knows no other end of a coroutine
}

}  // namespace

int main() {
    try {
        qsn::Options options;
        options.productSid = L"QSN-DEMO";
        qsn::Client client = qsn::Client::Open(options).Get().Value();
        Greet(client).get();
    } catch (const std::exception& failure) {
        std::fprintf(stderr, "%s\n", failure.what());
        return 1;
    }
}
