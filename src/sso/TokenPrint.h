#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>

namespace qsn {

// What is kept of a token only to recognise it: its length and its SHA-256, which do not reveal the token.
class TokenPrint {
public:
    TokenPrint() = default;  // of the empty token
    explicit TokenPrint(std::string_view token) noexcept;

    // Whether the text is the token, or begins with it.
    bool IsBeginningOf(std::string_view text) const noexcept;

private:
    std::size_t m_length = 0;
    std::array<std::uint8_t, 32> m_digest{};
};

}  // namespace qsn
