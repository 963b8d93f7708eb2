#pragma once

#include <qsn/client.hpp>

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

#include "service/http/ReplyGate.h"
#include "support/ProcessState.h"
#include "support/SharedValues.h"
#include "support/TestService.h"

namespace qsn::test {

inline const std::error_code kCancelled = std::make_error_code(std::errc::operation_canceled);
inline const std::error_code kInvalid = std::make_error_code(std::errc::invalid_argument);
inline const std::error_code kDeadlock = std::make_error_code(std::errc::resource_deadlock_would_occur);
inline const std::error_code kNotOpen = qsn::ErrorOf(QSN_RETURN_E_NOT_INITIALIZED);

inline std::error_code Network(int code) { return {code, NetworkCategory()}; }
// Has the service change every reply from then on.
inline std::function<void()> Reply(service::ReplyChange change) {
    return [change = std::move(change)] { Server().Rules().Always(change); };
}

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
    std::size_t Count() {
        const std::lock_guard lock(m_lock);
        return m_items.size();
    }
    bool Reaches(std::size_t count) {
        return Eventually([&] { return Count() >= count; });
    }

private:
    std::mutex m_lock;
    std::vector<T> m_items;
};

using Lines = std::vector<std::string>;
struct Journal : Collection<std::string> {
    // A completion that writes how its operation ended.
    auto Line(const std::string& name) {
        return [this, name](const auto& result) { Add(name + (result ? " ok" : " " + result.Error().message())); };
    }
    // A notification.
    auto Text(const std::string& name) {
        return [this, name](const std::string& text) { Add(name + " " + text); };
    }
};

// A test with the service running and the options of a client.
class ClientTest : public testing::Test {
protected:
    ClientTest() {
        TestService::Instance().Reset();
        m_options.productSid = L"SID-TEST";
        m_options.libraryPath = qsn::ToWide(QSN_TEST_DLL);
        m_options.notifications.serviceMessage = m_journal.Text("message");
    }
    qsn::Client Open() { return qsn::Client::Open(m_options).Get().Value(); }
    qsn::Client SignedIn() {
        qsn::Client client = Open();
        EXPECT_TRUE(client.SignIn(kToken).Get()->signedIn);
        return client;
    }
    static std::shared_ptr<const service::ReplyGate> HoldNext(const std::string& requestType = {}) {
        auto gate = std::make_shared<const service::ReplyGate>();
        Server().Rules().Once({.gate = gate}, {.requestType = requestType});
        return gate;
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

}  // namespace qsn::test
