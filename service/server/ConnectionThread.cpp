#include "service/server/ConnectionThread.h"

#include <openssl/crypto.h>

namespace qsn::service {
namespace {

void RunToItsEnd(Connection connection) {
    try {
        connection.Run();
    } catch (const std::exception&) {
        // The client sees a closed socket. The other connections go on.
    }
}

}  // namespace

void ConnectionThread::Run(Connection connection) {
    RunToItsEnd(std::move(connection));
    // A static OpenSSL frees a thread's state only when told to.
    OPENSSL_thread_stop();
    done_ = true;
}

}  // namespace qsn::service
