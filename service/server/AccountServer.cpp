#include "service/server/AccountServer.h"

#include <atomic>
#include <list>
#include <thread>

#include "service/server/ConnectionThread.h"

namespace qsn::service {
namespace {

constexpr std::chrono::milliseconds kPauseAfterFailure{100};

}  // namespace

// The members are destroyed from the last to the first, so their order matters.
struct AccountServer::Impl {
    explicit Impl(ServerOptions given);
    ~Impl();
    Impl(const Impl&) = delete;
    Impl& operator=(const Impl&) = delete;

    std::shared_ptr<const Generation> MakeGeneration(TlsFault fault) const;
    void Renew(TlsFault fault);
    TlsFault CurrentFault();
    void AcceptAll();
    void StartConnection(Socket client);

    WinsockSession winsock;
    ServerOptions options;
    Authenticator authenticator;
    MemberAuth members;
    std::shared_ptr<const CertificateAuthority> authority;
    AccountStore accounts;
    Script script;
    RequestLog log;
    RequestHistory history;
    Socket listener;
    std::uint16_t port;
    std::atomic<int> tunnelRefusal = 0;
    LoginTickets tickets;
    LoginService login{accounts, tickets};
    Dispatcher dispatcher{options.hosts, authenticator, members, login, accounts, script};
    FaultBoard faults{{options.hosts, accounts, members, tickets, script, tunnelRefusal}};
    LocalSite local{port, dispatcher, faults, history};
    ConnectionContext context{options, dispatcher, local, log, history, tunnelRefusal};
    StopSignal stop;
    std::mutex connectionsLock;
    std::shared_ptr<const Generation> generation;
    std::list<ConnectionThread> connections;
    std::thread acceptor;
};

AccountServer::Impl::Impl(ServerOptions given)
    : options(std::move(given)),
      authenticator(options.keyFolder),
      members(options.keyFolder),
      authority(options.authority ? options.authority : std::make_shared<CertificateAuthority>()),
      accounts(std::move(options.accounts)),
      log(options.keepRequests),
      history(options.historySize),
      listener(ListenOnLoopback(options.port)),
      port(listener.LocalPort()),
      generation(MakeGeneration(TlsFault::kNone)),
      acceptor(&Impl::AcceptAll, this) {}

AccountServer::Impl::~Impl() {
    stop.Raise();
    acceptor.join();
    generation->ended.Raise();
}

std::shared_ptr<const Generation> AccountServer::Impl::MakeGeneration(TlsFault fault) const {
    return std::make_shared<const Generation>(Generation{fault, MakeTlsContext(*authority, options.hosts, fault), {}});
}

TlsFault AccountServer::Impl::CurrentFault() {
    const std::lock_guard guard(connectionsLock);
    return generation->fault;
}

void AccountServer::Impl::Renew(TlsFault fault) {
    auto next = MakeGeneration(fault);
    // Joined outside the lock: a connection that is just being accepted needs it.
    std::list<ConnectionThread> ending;
    {
        const std::lock_guard guard(connectionsLock);
        generation->ended.Raise();
        generation = std::move(next);
        ending.swap(connections);
    }
}

void AccountServer::Impl::StartConnection(Socket client) {
    const std::lock_guard guard(connectionsLock);
    connections.remove_if([](const ConnectionThread& connection) { return connection.Done(); });
    try {
        connections.emplace_back(context, generation, std::move(client));
    } catch (const std::system_error&) {
        // There is no thread for this client: it is turned away.
    }
}

void AccountServer::Impl::AcceptAll() {
    while (WaitReadable(listener.Get(), stop)) {
        Socket client(accept(listener.Get(), nullptr, nullptr));
        if (client) {
            log.CountOne(&Counters::connections);
            StartConnection(std::move(client));
        } else {
            // The listener stays readable.
            stop.WaitFor(kPauseAfterFailure);
        }
    }
}

AccountServer::AccountServer(ServerOptions options) : impl_(std::make_unique<Impl>(std::move(options))) {}
AccountServer::~AccountServer() = default;

std::uint16_t AccountServer::Port() const { return impl_->port; }
const CertificateAuthority& AccountServer::Authority() const { return *impl_->authority; }
AccountStore& AccountServer::Accounts() { return impl_->accounts; }
Script& AccountServer::Rules() { return impl_->script; }
MemberAuth& AccountServer::Members() { return impl_->members; }

std::string AccountServer::IssueMemberToken(std::string_view userId, std::chrono::seconds lifetime) {
    return impl_->accounts.Use([&](auto& accounts) {
        User* user = accounts.FindByUserId(userId);
        if (!user) throw std::invalid_argument("no user " + std::string(userId));
        return impl_->members.IssueToken(*user, lifetime);
    });
}

void AccountServer::SetTlsFault(TlsFault fault) { impl_->Renew(fault); }
void AccountServer::DropConnections() { impl_->Renew(impl_->CurrentFault()); }
void AccountServer::RefuseTunnels(int status) { impl_->tunnelRefusal = status; }

std::vector<RecordedRequest> AccountServer::TakeRequests() { return impl_->log.Take(); }
bool AccountServer::WaitForRequests(std::size_t count, std::chrono::milliseconds timeout) {
    return impl_->log.WaitFor(count, timeout);
}
Counters AccountServer::Count() const { return impl_->log.Count(); }

}  // namespace qsn::service
