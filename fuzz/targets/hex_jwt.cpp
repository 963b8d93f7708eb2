// The hexadecimal header of a reply, and tokens whose middle part is read for their expiry.
#include <algorithm>
#include <cctype>
#include <string>
#include <vector>

#include "Utility/Base64.h"
#include "Utility/Hex.h"
#include "Utility/Jwt.h"
#include "support/Require.h"

namespace {

void CheckHex(std::string_view text) {
    const bool isHex = text.size() % 2 == 0 && text.find_first_not_of("0123456789abcdefABCDEF") == text.npos;
    const std::optional<std::string> bytes = qsn::HexToBytes(text);
    REQUIRE(bytes.has_value() == isHex);
    if (!isHex) return;
    const auto* const data = reinterpret_cast<const std::uint8_t*>(bytes->data());
    REQUIRE(std::ranges::equal(qsn::BytesToHex({data, bytes->size()}), text, {}, {},
                               [](char c) { return static_cast<char>(std::tolower(c)); }));
}

void CheckHexOf(std::string_view bytes) {
    const auto* const data = reinterpret_cast<const std::uint8_t*>(bytes.data());
    REQUIRE(qsn::HexToBytes(qsn::BytesToHex({data, bytes.size()})) == bytes);
}

void CheckToken(std::string_view token) {
    const auto [hr, payload] = qsn::DecodeJWT(token);
    const bool hasParts = std::ranges::count(token, '.') >= 2;
    REQUIRE(hr == (hasParts ? S_OK : E_FAIL));
    if (!hasParts) return;
    const std::size_t first = token.find('.') + 1;
    REQUIRE(payload == qsn::DecodeJWTPayload(token.substr(first, token.find('.', first) - first)));
    REQUIRE(payload.size() <= token.size());
}

// A token with these bytes as its payload, in the form of the service.
void CheckTokenOf(std::string_view payload) {
    std::vector<char> lines(payload.size() * 2 + 4);
    auto length = static_cast<std::uint32_t>(lines.size());
    const auto* const data = reinterpret_cast<const std::uint8_t*>(payload.data());
    REQUIRE(qsn::Base64EncodeLines({data, payload.size()}, lines.data(), &length) == 1);
    std::string part(lines.data(), length);
    std::erase_if(part, [](char c) { return c == '\r' || c == '\n' || c == '='; });
    REQUIRE(qsn::DecodeJWT("e30." + part + ".c2ln").value == payload);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    CheckHex(text);
    CheckHexOf(text);
    CheckToken(text);
    CheckTokenOf(text);
    return 0;
}
