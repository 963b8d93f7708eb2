#include "support/TestService.h"

#include "service/accounts/AccountsFile.h"

namespace qsn::test {
namespace {

service::Accounts TestAccounts() {
    return service::ParseAccounts(R"({"users": [{
        "userID": "20417",
        "userName": "Ada Quill",
        "userEmail": "ada@quillfern.example",
        "accessTokens": ["token-ada", {"token": "token-ada-staging", "site": "staging"}],
        "userMenu": [
            {"item": "Account", "url": "https://account.quillfern.example/my/profile"},
            {"item": "Products", "url": "https://account.quillfern.example/my/products"},
            {"item": "Help", "url": "https://account.quillfern.example/help"}
        ]
    }]})");
}

}  // namespace

TestService& TestService::Instance() {
    static TestService instance;
    return instance;
}

TestService::TestService() {
    service::ServerOptions options;
    options.keyFolder = QSN_TEST_KEY_DIR;
    options.accounts = TestAccounts();
    m_server = std::make_unique<service::AccountServer>(std::move(options));
    m_configuration = std::make_unique<service::UserConfiguration>(m_server->Port(), m_server->Authority().Der());
}

void TestService::Reset() {
    m_server->Rules().Clear();
    m_server->SetTlsFault(service::TlsFault::kNone);
    m_server->RefuseTunnels(0);
    m_server->Members().Accept();
    m_server->TakeRequests();
    m_server->Accounts().Use([](service::Accounts& accounts) { accounts = TestAccounts(); });
}

}  // namespace qsn::test
