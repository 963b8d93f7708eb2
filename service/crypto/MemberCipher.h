#pragma once

#include <array>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "service/text/Text.h"

namespace qsn::service {

inline constexpr std::size_t kMemberKeySize = 16;

using MemberCipherKey = std::span<const std::uint8_t, kMemberKeySize>;

// AES-128-GCM under the protocol's fixed initialisation vector: the ciphertext, then the tag.
Bytes EncryptMemberText(MemberCipherKey key, std::string_view plainText);
// Nothing if the tag does not belong to the ciphertext.
std::optional<std::string> DecryptMemberText(MemberCipherKey key, std::span<const std::uint8_t> sealed);

}  // namespace qsn::service
