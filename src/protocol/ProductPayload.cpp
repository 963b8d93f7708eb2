#include "protocol/ProductPayload.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <limits>
#include <string>
#include <string_view>
#include <vector>

#include "Utility/Json.h"
#include "objects/CQSNProductItem.h"
#include "objects/DataSetList.h"
#include "objects/PackedFields.h"
#include "objects/ProductFields.h"

namespace qsn {
namespace {

// A name's first eight bytes as a number that sorts like them: most comparisons need no more.
constexpr std::uint64_t Prefix(std::string_view name) {
    std::uint64_t prefix = 0;
    for (std::size_t i = 0; i < 8; ++i)
        prefix = prefix << 8 | (i < name.size() ? static_cast<unsigned char>(name[i]) : 0u);
    return prefix;
}

struct MemberName {
    std::uint64_t prefix;
    std::string_view text;

    constexpr explicit MemberName(std::string_view name) : prefix(Prefix(name)), text(name) {}
    constexpr bool operator==(const MemberName& other) const { return prefix == other.prefix && text == other.text; }
    constexpr bool operator<(const MemberName& other) const {
        return prefix != other.prefix ? prefix < other.prefix : text < other.text;
    }
};

struct NamedField {
    MemberName member{std::string_view()};  // empty: reserved
    const ProductField* field = nullptr;
};

// In the order in which jsoncpp holds the members of an object.
constexpr auto kFieldsByMember = [] {
    std::array<NamedField, kProductFields.size()> fields;
    std::ranges::transform(kProductFields, fields.begin(), [](const ProductField& field) {
        return NamedField{MemberName(field.member ? std::string_view(field.member) : std::string_view()), &field};
    });
    std::ranges::sort(fields, {}, [](const NamedField& field) { return field.member.text; });
    return fields;
}();

// jsoncpp holds members in a tree, and a walk through it waits for memory at each of them. But it made those of the
// next product right behind those of this one. So the processor is told to fetch as much as this one took. A wrong
// guess costs nothing. Without this, waiting was two thirds of the time of a long list.
class MemoryAhead {
public:
    void Start() {
        m_first = std::numeric_limits<std::uintptr_t>::max();
        m_last = 0;
    }
    void See(const void* member) {
        const auto address = reinterpret_cast<std::uintptr_t>(member);
        m_first = std::min(m_first, address);
        m_last = std::max(m_last, address);
    }
    // Inlined, because the compiler would drop the call of a function that does nothing else.
    [[gnu::always_inline]] void Fetch() const {
        if (m_first >= m_last) return;
        const std::uintptr_t size = std::min(m_last - m_first, kMostAhead);
        for (std::uintptr_t offset = 0; offset < size; offset += kCacheLine)
            __builtin_prefetch(reinterpret_cast<const void*>(m_last + offset));
    }

private:
    static constexpr std::uintptr_t kCacheLine = 64;
    static constexpr std::uintptr_t kMostAhead = 16384;  // half of what the nearest caches hold

    std::uintptr_t m_first = 0;
    std::uintptr_t m_last = 0;
};

// Gathers the members of one product after the other as views, so that only the item copies them.
class ProductReader {
public:
    UniqueCom<CQSNProductItem> Read(const Json::Value& product) {
        m_fields.clear();
        m_ahead.Start();
        if (product.isObject()) GatherMembers(product);
        m_ahead.Fetch();
        return CQSNProductItem::Create(m_fields);
    }

private:
    // Both sides are in the same order, so one walk along them replaces forty searches.
    void GatherMembers(const Json::Value& product) {
        auto row =
            std::ranges::find_if(kFieldsByMember, [](const NamedField& field) { return !field.member.text.empty(); });
        for (auto member = product.begin(); member != product.end(); ++member) {
            m_ahead.See(&*member);
            const char* nameEnd = nullptr;
            const char* const name = member.memberName(&nameEnd);
            const MemberName wanted(std::string_view(name, nameEnd));
            // Usually the next row is the right one, and then this is the only comparison.
            if (row->member != wanted) {
                while (row != kFieldsByMember.end() && row->member < wanted) ++row;
                if (row == kFieldsByMember.end()) return;
                if (row->member != wanted) continue;
            }
            Add(*row->field, *member);
            if (++row == kFieldsByMember.end()) return;
        }
    }
    void Add(const ProductField& field, const Json::Value& value) {
        const auto id = static_cast<std::uint8_t>(field.id);
        if (field.kind == ProductFieldKind::kText) {
            m_fields.push_back({.id = id, .isText = true, .text = JsonTextOf(value, &m_converted[id - 1u])});
        } else {
            m_fields.push_back({.id = id, .number = JsonIntOf(value)});
        }
    }

    MemoryAhead m_ahead;
    std::vector<PackedFields::Field> m_fields;
    std::array<std::string, kProductFields.size()> m_converted;  // what some fields are views of
};

}  // namespace

UniqueCom<IQSNList> ReadProductList(const Json::Value& data) {
    UniqueCom<CQSNProductList> list(new CQSNProductList);
    if (!data.isArray()) return list;
    list->Reserve(data.size());
    ProductReader reader;
    for (const Json::Value& product : data) list->Append(reader.Read(product).get());
    return list;
}

}  // namespace qsn
