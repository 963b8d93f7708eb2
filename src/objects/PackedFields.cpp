#include "objects/PackedFields.h"

#include <cstring>

namespace qsn {
namespace {

// An entry: one byte for id and kind, then the text's length and bytes, or the number. A length takes seven bits of
// each byte, the lowest first, with the top bit set in all but the last.
constexpr unsigned char kTextMark = 0x80;
constexpr unsigned kLengthBits = 7;
constexpr std::size_t kMoreLength = std::size_t{1} << kLengthBits;

using Field = PackedFields::Field;

bool TakesRoom(const Field& field) { return field.isText ? !field.text.empty() : field.number != 0; }

std::size_t EntrySize(const Field& field) {
    if (!TakesRoom(field)) return 0;
    if (!field.isText) return 1 + sizeof(field.number);
    std::size_t size = 2 + field.text.size();
    for (std::size_t rest = field.text.size(); rest >= kMoreLength; rest >>= kLengthBits) ++size;
    return size;
}

char* WriteLength(char* to, std::size_t length) {
    for (; length >= kMoreLength; length >>= kLengthBits) *to++ = static_cast<char>(length | kMoreLength);
    *to++ = static_cast<char>(length);
    return to;
}

char* WriteEntry(char* to, const Field& field) {
    if (!TakesRoom(field)) return to;
    *to++ = static_cast<char>(field.isText ? field.id | kTextMark : field.id);
    if (field.isText) {
        to = WriteLength(to, field.text.size());
        return to + field.text.copy(to, field.text.size());
    }
    std::memcpy(to, &field.number, sizeof(field.number));
    return to + sizeof(field.number);
}

const char* ReadLength(const char* from, std::size_t* length) {
    *length = 0;
    for (unsigned shift = 0;; shift += kLengthBits) {
        const auto digit = static_cast<unsigned char>(*from++);
        *length |= (digit & (kMoreLength - 1)) << shift;
        if (digit < kMoreLength) return from;
    }
}

const char* ReadEntry(const char* from, Field* field) {
    const auto mark = static_cast<unsigned char>(*from++);
    field->id = mark & static_cast<unsigned char>(~kTextMark);
    field->isText = (mark & kTextMark) != 0;
    if (field->isText) {
        std::size_t length = 0;
        from = ReadLength(from, &length);
        field->text = {from, length};
        return from + length;
    }
    std::memcpy(&field->number, from, sizeof(field->number));
    return from + sizeof(field->number);
}

}  // namespace

std::size_t PackedFields::SizeOf(std::span<const Field> fields) noexcept {
    std::size_t size = 1;
    for (const Field& field : fields) size += EntrySize(field);
    return size;
}

void PackedFields::Pack(std::span<const Field> fields, char* block) noexcept {
    for (const Field& field : fields) block = WriteEntry(block, field);
    *block = '\0';
}

std::string_view PackedFields::Text(std::uint8_t id) const noexcept {
    const Field field = Find(id);
    return field.isText ? field.text : std::string_view();
}

std::int32_t PackedFields::Number(std::uint8_t id) const noexcept { return Find(id).number; }

PackedFields::Field PackedFields::Find(std::uint8_t id) const noexcept {
    for (const char* entry = m_block; *entry != '\0';) {
        Field field;
        entry = ReadEntry(entry, &field);
        if (field.id == id) return field;
    }
    return {};
}

}  // namespace qsn
