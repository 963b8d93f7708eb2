#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>

namespace qsn {

// Texts and numbers under small ids, packed into one block of memory. A list has tens of thousands of products with
// some forty fields each, and most of those are empty. Empty texts and zeros take no room.
class PackedFields {
public:
    struct Field {
        std::uint8_t id = 0;  // 1 to 127
        bool isText = false;
        std::string_view text = {};
        std::int32_t number = 0;
    };

    static std::size_t SizeOf(std::span<const Field> fields) noexcept;
    // Fills a block of `SizeOf` bytes.
    static void Pack(std::span<const Field> fields, char* block) noexcept;

    // Reads a packed block, which still belongs to the caller.
    explicit PackedFields(const char* block) noexcept : m_block(block) {}

    // Empty, or 0, if `id` holds nothing or something of the other kind.
    std::string_view Text(std::uint8_t id) const noexcept;
    std::int32_t Number(std::uint8_t id) const noexcept;

private:
    Field Find(std::uint8_t id) const noexcept;

    const char* m_block;  // entries, and a zero byte behind the last one
};

}  // namespace qsn
