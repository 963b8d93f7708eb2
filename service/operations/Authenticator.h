#pragma once

#include <filesystem>
#include <string>
#include <string_view>

#include "service/crypto/OpenSslPointers.h"
#include "service/http/RecordedRequest.h"
#include "service/text/Text.h"

namespace qsn::service {

struct TokenAndDigest {
    std::string token;
    std::string digest;
};

// The server's ends of the two key pairs: checks the pair of a request and makes that of a reply. Numbers on the wire
// are little-endian, as the Windows cryptography of the clients writes them. Any thread may call.
class Authenticator {
public:
    // Reads request_private.pem and reply_public.pem; throws std::runtime_error that names the file.
    explicit Authenticator(const std::filesystem::path& keyFolder);

    // Fills check, checkReason and nonce of the request.
    void Check(RecordedRequest& request) const;
    // Under a fresh random nonce.
    TokenAndDigest Make(std::string_view body) const;

private:
    struct TokenReading {
        std::string nonce;
        std::string fault;
    };
    TokenReading ReadToken(std::string_view token) const;
    std::string EncryptNonce(std::string_view nonce) const;

    PrivateKeyPtr requestKey_;
    PrivateKeyPtr replyKey_;
};

}  // namespace qsn::service
