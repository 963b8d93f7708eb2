#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>

namespace qsn {

// What is kept of a token only to know it again: its length and its SHA-256, from which the token cannot be made.
class TokenPrint {
public:
    TokenPrint() = default;  // of the empty token
    explicit TokenPrint(std::string_view token) noexcept;

    // Whether the text is the token, or goes on where it ended.
    bool IsBeginningOf(std::string_view text) const noexcept;

private:
    std::size_t m_length = 0;
    std::array<std::uint8_t, 32> m_digest{};
};

}  // namespace qsn
