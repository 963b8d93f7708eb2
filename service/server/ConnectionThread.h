#pragma once

#include <atomic>
#include <memory>
#include <thread>

#include "service/server/Connection.h"

namespace qsn::service {

// Runs a connection. Destruction waits for its end, which the owner brings about through the generation.
class ConnectionThread {
public:
    ConnectionThread(const ConnectionContext& context, std::shared_ptr<const Generation> generation, Socket socket)
        : thread_(&ConnectionThread::Run, this, Connection(context, std::move(generation), std::move(socket))) {}
    ~ConnectionThread() { thread_.join(); }
    ConnectionThread(const ConnectionThread&) = delete;
    ConnectionThread& operator=(const ConnectionThread&) = delete;

    bool Done() const { return done_; }

private:
    void Run(Connection connection);

    std::atomic<bool> done_ = false;
    std::thread thread_;
};

}  // namespace qsn::service
