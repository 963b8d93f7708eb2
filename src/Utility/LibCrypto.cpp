#include "Utility/LibCrypto.h"

#include <openssl/crypto.h>

#include <atomic>

namespace qsn {
namespace {

std::atomic<bool> g_started = false;

}  // namespace

void StartLibCrypto() noexcept {
    if (g_started) return;
    // OpenSSL lets one of several threads initialise and the others wait.
    g_started = OPENSSL_init_crypto(OPENSSL_INIT_NO_ATEXIT | OPENSSL_INIT_NO_LOAD_CONFIG, nullptr) == 1;
}

void LeaveLibCryptoThread() noexcept {
    if (g_started) OPENSSL_thread_stop();
}

void EndLibCrypto() noexcept {
    if (g_started.exchange(false)) OPENSSL_cleanup();
}

}  // namespace qsn
