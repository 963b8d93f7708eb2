#include "service/net/TlsStream.h"

#include <openssl/err.h>

#include <algorithm>

namespace qsn::service {
namespace {

// More than a TLS record gains nothing.
constexpr std::size_t kMostAtOnce = 16384;

int Portion(std::size_t size) { return static_cast<int>(std::min(size, kMostAtOnce)); }

}  // namespace

TlsStream::TlsStream(SSL_CTX* context, const Socket& socket, const StopSignal& stop)
    : ssl_(SSL_new(context)), socket_(socket.Get()), stop_(stop) {
    RequireOpenSsl(ssl_ && SSL_set_fd(ssl_.get(), static_cast<int>(socket_)) == 1, "SSL_set_fd");
}

bool TlsStream::WaitToRepeat(int result) {
    switch (SSL_get_error(ssl_.get(), result)) {
        case SSL_ERROR_WANT_READ: return WaitReadable(socket_, stop_);
        case SSL_ERROR_WANT_WRITE: return WaitWritable(socket_, stop_);
        default: return false;
    }
}

bool TlsStream::Handshake() {
    for (;;) {
        ERR_clear_error();
        const int result = SSL_accept(ssl_.get());
        if (result == 1) return true;
        if (!WaitToRepeat(result)) return false;
    }
}

std::size_t TlsStream::ReadSome(std::span<char> buffer) {
    for (;;) {
        ERR_clear_error();
        const int count = SSL_read(ssl_.get(), buffer.data(), Portion(buffer.size()));
        if (count > 0) return static_cast<std::size_t>(count);
        if (!WaitToRepeat(count)) return 0;
    }
}

bool TlsStream::WriteAll(std::string_view bytes) {
    while (!bytes.empty()) {
        ERR_clear_error();
        const int count = SSL_write(ssl_.get(), bytes.data(), Portion(bytes.size()));
        if (count > 0) {
            bytes.remove_prefix(static_cast<std::size_t>(count));
        } else if (!WaitToRepeat(count)) {
            return false;
        }
    }
    return true;
}

void TlsStream::SendCloseNotify() {
    ERR_clear_error();
    SSL_shutdown(ssl_.get());
}

}  // namespace qsn::service
