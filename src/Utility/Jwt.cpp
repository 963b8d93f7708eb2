#include "Utility/Jwt.h"

#include <array>

#include "Utility/Guard.h"
#include "Utility/LibCrypto.h"
#include "Utility/OpenSslOwners.h"
#include "Utility/Trace.h"

namespace qsn {
namespace {

constexpr std::size_t kChunkSize = 512;

std::string ReadAll(BIO* source) {
    std::string bytes;
    std::array<char, kChunkSize> chunk;
    for (int count; (count = BIO_read(source, chunk.data(), static_cast<int>(chunk.size()))) >= 1;)
        bytes.append(chunk.data(), static_cast<std::size_t>(count));
    return bytes;
}

}  // namespace

std::string DecodeJWTPayload(std::string_view text) {
    StartLibCrypto();
    std::string padded(text);
    padded.resize((padded.size() + 3) / 4 * 4, '=');
    UniqueBio decoder(BIO_new(BIO_f_base64()));
    UniqueBio source(BIO_new_mem_buf(padded.data(), static_cast<int>(padded.size())));
    if (!decoder || !source) return {};
    BIO_set_flags(decoder.get(), BIO_FLAGS_BASE64_NO_NL);
    BIO_push(decoder.get(), source.release());
    return ReadAll(decoder.get());
}

Outcome<std::string> DecodeJWT(std::string_view token) {
    TraceW(L"DecodeJWT\n");
    const std::size_t first = token.find('.');
    const std::size_t second = first == std::string_view::npos ? first : token.find('.', first + 1);
    if (second == std::string_view::npos) {
        TraceW(L"[ERR] Invalid JWT format");
        return {E_FAIL};
    }
    return Guarded([&]() -> Outcome<std::string> {
        return {S_OK, DecodeJWTPayload(token.substr(first + 1, second - first - 1))};
    });
}

}  // namespace qsn
