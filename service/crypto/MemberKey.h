#pragma once

#include <optional>
#include <span>
#include <string>

#include "service/crypto/OpenSslPointers.h"
#include "service/text/Text.h"

namespace qsn::service {

// The key pair under which clients wrap the key of a refresh. Any thread may call.
class MemberKey {
public:
    explicit MemberKey(PrivateKeyPtr key) : key_(std::move(key)) {}

    // Base64 of the SubjectPublicKeyInfo, as one line without markers.
    std::string PublicBody() const;
    // OAEP with SHA-256 for both of its digests.
    std::optional<Bytes> Unwrap(std::span<const std::uint8_t> wrapped) const;

private:
    PrivateKeyPtr key_;
};

}  // namespace qsn::service
