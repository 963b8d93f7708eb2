#pragma once

#include <memory>

#include "service/net/UserConfiguration.h"
#include "service/server/AccountServer.h"

namespace qsn::test {

// The account service of a test program. There is one for the process, because the trusted roots are read once. `Reset`
// brings it back to its first state for each test.
class TestService {
public:
    static TestService& Instance();

    service::AccountServer& Server() { return *m_server; }
    void Reset();

private:
    TestService();

    std::unique_ptr<service::AccountServer> m_server;
    std::unique_ptr<service::UserConfiguration> m_configuration;
};

inline service::AccountServer& Server() { return TestService::Instance().Server(); }

inline constexpr char kToken[] = "token-ada";
inline constexpr char kStagingToken[] = "token-ada-staging";

}  // namespace qsn::test
