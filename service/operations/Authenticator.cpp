#include "service/operations/Authenticator.h"

#include <openssl/err.h>
#include <openssl/hmac.h>
#include <openssl/rand.h>
#include <openssl/rsa.h>

#include <algorithm>
#include <array>

#include "service/crypto/OpenSsl.h"
#include "service/crypto/RsaKeys.h"

namespace qsn::service {
namespace {

constexpr std::size_t kNonceBlockSize = 16;
constexpr std::size_t kMd5Size = 16;

KeyContextPtr ContextOf(EVP_PKEY* key, int (*start)(EVP_PKEY_CTX*)) {
    KeyContextPtr context(EVP_PKEY_CTX_new(key, nullptr));
    RequireOpenSsl(
        context && start(context.get()) == 1 && EVP_PKEY_CTX_set_rsa_padding(context.get(), RSA_PKCS1_PADDING) == 1,
        "RSA setup");
    return context;
}

bool IsDigit(std::uint8_t c) { return c >= '0' && c <= '9'; }

// The digits at the start of a block that holds digits, then NULs. Empty if it holds anything else.
std::string NonceIn(std::span<const std::uint8_t> block) {
    if (block.size() != kNonceBlockSize) return {};
    const auto end = std::find_if_not(block.begin(), block.end(), IsDigit);
    const bool padded = end != block.end() && std::all_of(end, block.end(), [](std::uint8_t c) { return c == 0; });
    return padded ? std::string(block.begin(), end) : std::string{};
}

std::string RandomNonce() {
    std::uint32_t value = 0;
    RequireOpenSsl(RAND_bytes(reinterpret_cast<unsigned char*>(&value), sizeof value) == 1, "RAND_bytes");
    return std::to_string(value);
}

// Lower-case hexadecimal HMAC-MD5.
std::string DigestOf(std::string_view body, std::string_view nonce) {
    std::array<std::uint8_t, kMd5Size> digest{};
    RequireOpenSsl(
        HMAC(EVP_md5(), nonce.data(), static_cast<int>(nonce.size()),
             reinterpret_cast<const unsigned char*>(body.data()), body.size(), digest.data(), nullptr) != nullptr,
        "HMAC");
    return ToHex(digest);
}

}  // namespace

Authenticator::Authenticator(const std::filesystem::path& keyFolder)
    : requestKey_(ReadPrivateKey(keyFolder / "request_private.pem")),
      replyKey_(ReadPublicKey(keyFolder / "reply_public.pem")) {}

Authenticator::TokenReading Authenticator::ReadToken(std::string_view token) const {
    auto encrypted = FromHex(token);
    if (!encrypted) return {{}, "X-token is no lower-case hexadecimal"};
    std::reverse(encrypted->begin(), encrypted->end());
    const KeyContextPtr context = ContextOf(requestKey_.get(), EVP_PKEY_decrypt_init);
    Bytes block(static_cast<std::size_t>(EVP_PKEY_size(requestKey_.get())));
    std::size_t size = block.size();
    const bool decrypted =
        EVP_PKEY_decrypt(context.get(), block.data(), &size, encrypted->data(), encrypted->size()) == 1;
    ERR_clear_error();
    if (!decrypted) return {{}, "X-token does not decrypt with the request key"};
    std::string nonce = NonceIn(std::span(block).first(size));
    if (nonce.empty()) return {{}, "X-token holds no 16-byte block of digits"};
    return {std::move(nonce), {}};
}

void Authenticator::Check(RecordedRequest& request) const {
    const auto refuse = [&](RequestCheck check, std::string reason) {
        request.check = check;
        request.checkReason = std::move(reason);
    };
    const std::string_view token = request.headers["X-token"], digest = request.headers["X-digest"];
    if (token.empty()) return refuse(RequestCheck::kMissing, "X-token is missing");
    if (digest.empty()) return refuse(RequestCheck::kMissing, "X-digest is missing");
    TokenReading reading = ReadToken(token);
    if (!reading.fault.empty()) return refuse(RequestCheck::kBadToken, std::move(reading.fault));
    request.nonce = std::move(reading.nonce);
    const std::string expected = DigestOf(request.body, request.nonce);
    if (digest == expected) {
        request.check = RequestCheck::kAccepted;
        return;
    }
    refuse(RequestCheck::kDigestMismatch,
           EqualIgnoringCase(digest, expected) ? "X-digest is not in lower case" : "X-digest is not that of the body");
}

std::string Authenticator::EncryptNonce(std::string_view nonce) const {
    std::array<std::uint8_t, kNonceBlockSize> block{};
    std::copy(nonce.begin(), nonce.end(), block.begin());
    const KeyContextPtr context = ContextOf(replyKey_.get(), EVP_PKEY_encrypt_init);
    Bytes encrypted(static_cast<std::size_t>(EVP_PKEY_size(replyKey_.get())));
    std::size_t size = encrypted.size();
    RequireOpenSsl(EVP_PKEY_encrypt(context.get(), encrypted.data(), &size, block.data(), block.size()) == 1,
                   "EVP_PKEY_encrypt");
    encrypted.resize(size);
    std::reverse(encrypted.begin(), encrypted.end());
    return ToHex(encrypted);
}

TokenAndDigest Authenticator::Make(std::string_view body) const {
    const std::string nonce = RandomNonce();
    return {EncryptNonce(nonce), DigestOf(body, nonce)};
}

}  // namespace qsn::service
