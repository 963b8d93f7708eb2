#include "service/net/ByteStream.h"

namespace qsn::service {

std::size_t PlainStream::ReadSome(char* buffer, std::size_t size) {
    for (;;) {
        const int count = recv(socket_, buffer, static_cast<int>(size), 0);
        if (count >= 0) return static_cast<std::size_t>(count);
        if (WSAGetLastError() != WSAEWOULDBLOCK || !WaitReadable(socket_, stop_)) return 0;
    }
}

bool PlainStream::WriteAll(std::string_view bytes) {
    while (!bytes.empty()) {
        const int count = send(socket_, bytes.data(), static_cast<int>(bytes.size()), 0);
        if (count > 0) {
            bytes.remove_prefix(static_cast<std::size_t>(count));
        } else if (WSAGetLastError() != WSAEWOULDBLOCK || !WaitWritable(socket_, stop_)) {
            return false;
        }
    }
    return true;
}

}  // namespace qsn::service
