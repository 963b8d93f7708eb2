// Tokens in the user's registry, where any program may have written anything.
#include <algorithm>
#include <string>
#include <vector>

#include "Utility/Base64.h"
#include "sso/TokenText.h"
#include "support/Require.h"

namespace {

using Bytes = std::vector<std::uint8_t>;

// In a block of its own without a byte to spare.
std::string Encode(std::span<const std::uint8_t> bytes) {
    const std::size_t breaks = bytes.empty() ? 0 : (bytes.size() - 1) / 57;
    std::vector<char> text((bytes.size() + 2) / 3 * 4 + 2 * breaks);
    auto length = static_cast<std::uint32_t>(text.size());
    if (length != 0) {
        std::vector<char> small(length - 1, '?');
        auto capacity = static_cast<std::uint32_t>(small.size());
        REQUIRE(qsn::Base64EncodeLines(bytes, small.data(), &capacity) == 0);
        REQUIRE(std::ranges::count(small, '?') == static_cast<std::ptrdiff_t>(small.size()));
        REQUIRE(qsn::Base64EncodeLines(bytes, text.data(), &length) == 1);
    }
    REQUIRE(length == text.size());
    return {text.begin(), text.end()};
}

Bytes Decode(std::string_view text) {
    std::uint32_t needed = 0;
    qsn::Base64DecodeLines(text, nullptr, &needed);
    Bytes bytes(needed);
    auto length = needed;
    REQUIRE(qsn::Base64DecodeLines(text, bytes.data(), &length) == (bytes.data() || needed == 0 ? 1 : 0));
    REQUIRE(length == needed);
    if (needed != 0) {
        Bytes small(needed - 1);
        std::uint32_t capacity = needed - 1;
        REQUIRE(qsn::Base64DecodeLines(text, small.data(), &capacity) == 0);
        REQUIRE(capacity == needed && std::ranges::equal(small, std::span(bytes).first(needed - 1)));
    }
    return bytes;
}

void RequireLines(std::string_view text) {
    for (std::size_t i = 0; i < text.size(); ++i) {
        const std::size_t column = i % 78;
        REQUIRE((text[i] == '\r') == (column == 76) && (text[i] == '\n') == (column == 77));
    }
    REQUIRE(text.empty() || text.back() != '\n');
}

void RequireTokenStaysTheSame(std::string_view token, std::uint32_t capacity, std::uint32_t bufferSize) {
    const auto* const bytes = reinterpret_cast<const std::uint8_t*>(token.data());
    const auto text = qsn::EncodeTokenText({bytes, token.size()}, capacity);
    REQUIRE(text.has_value() == (Encode({bytes, token.size()}).size() <= capacity));
    if (!text) return;
    const Bytes stored = qsn::DecodeTokenText(*text, bufferSize);
    REQUIRE(qsn::TokenIn(stored, bufferSize) ==
            token.substr(0, std::min<std::size_t>(token.find('\0'), bufferSize - 1)));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    const std::string encoded = Encode({data, size});
    RequireLines(encoded);
    REQUIRE(std::ranges::equal(Decode(encoded), std::span(data, size)));

    // Whatever a text means, its proper form means the same.
    const Bytes bytes = Decode(text);
    REQUIRE(Decode(Encode(bytes)) == bytes);

    for (const std::uint32_t capacity : {1u, 260u, 2048u}) {
        const Bytes stored = qsn::DecodeTokenText(text, capacity);
        REQUIRE(stored.size() == std::min<std::size_t>(bytes.size(), capacity));
        REQUIRE(std::equal(stored.begin(), stored.end(), bytes.begin()));
        const std::string_view token = qsn::TokenIn(stored, capacity);
        REQUIRE(token.size() < capacity && token.find('\0') == std::string_view::npos);
    }
    RequireTokenStaysTheSame(text, 1024, 260);
    RequireTokenStaysTheSame(text, 2048, 2048);
    return 0;
}
