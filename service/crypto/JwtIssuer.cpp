#include "service/crypto/JwtIssuer.h"

#include <json/value.h>
#include <openssl/hmac.h>
#include <openssl/rand.h>

#include "service/crypto/Base64.h"
#include "service/crypto/OpenSsl.h"
#include "service/text/JsonText.h"

namespace qsn::service {
namespace {

constexpr char kHeader[] = R"({"alg":"HS256","typ":"JWT"})";
constexpr std::size_t kSha256Size = 32;

std::string Part(std::string_view bytes) {
    std::string text = ToBase64(bytes);
    while (text.ends_with('=')) text.pop_back();
    return text;
}

}  // namespace

JwtIssuer::JwtIssuer() { RequireOpenSsl(RAND_bytes(key_.data(), static_cast<int>(key_.size())) == 1, "RAND_bytes"); }

std::string JwtIssuer::Issue(int memberId, std::chrono::seconds lifetime) const {
    const auto now = std::chrono::system_clock::now().time_since_epoch();
    const std::int64_t issuedAt = std::chrono::duration_cast<std::chrono::seconds>(now).count();
    Json::Value payload;
    payload["iat"] = issuedAt;
    payload["exp"] = issuedAt + lifetime.count();
    payload["memberId"] = memberId;
    return Sign(WriteJson(payload));
}

std::string JwtIssuer::Sign(const std::string& payload) const {
    const std::string text = Part(kHeader) + '.' + Part(payload);
    std::string signature(kSha256Size, '\0');
    RequireOpenSsl(HMAC(EVP_sha256(), key_.data(), static_cast<int>(key_.size()),
                        reinterpret_cast<const unsigned char*>(text.data()), text.size(),
                        reinterpret_cast<unsigned char*>(signature.data()), nullptr) != nullptr,
                   "HMAC");
    return text + '.' + Part(signature);
}

}  // namespace qsn::service
