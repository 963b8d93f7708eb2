#include "service/net/ByteStream.h"

namespace qsn::service {

std::size_t PlainStream::ReadSome(std::span<char> buffer) {
    for (;;) {
        const int count = recv(socket_, buffer.data(), static_cast<int>(buffer.size()), 0);
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
