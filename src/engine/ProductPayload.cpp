#include "engine/ProductPayload.h"

#include <algorithm>
#include <array>
#include <cstdint>
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

struct NamedField {
    std::string_view member;  // empty: reserved
    const ProductField* field;
};

// In the order in which jsoncpp holds the members of an object.
constexpr auto kFieldsByMember = [] {
    std::array<NamedField, kProductFields.size()> fields;
    std::ranges::transform(kProductFields, fields.begin(), [](const ProductField& field) {
        return NamedField{field.member ? std::string_view(field.member) : std::string_view(), &field};
    });
    std::ranges::sort(fields, {}, &NamedField::member);
    return fields;
}();

// Gathers the members of one product after the other as views, so that the item alone copies them.
class ProductReader {
public:
    UniqueCom<CQSNProductItem> Read(const Json::Value& product) {
        m_fields.clear();
        if (product.isObject()) GatherMembers(product);
        return CQSNProductItem::Create(m_fields);
    }

private:
    // Both sides are in the same order: one walk along them in place of forty searches.
    void GatherMembers(const Json::Value& product) {
        auto row = std::ranges::upper_bound(kFieldsByMember, std::string_view(), {}, &NamedField::member);
        for (auto member = product.begin(); member != product.end(); ++member) {
            const char* nameEnd = nullptr;
            const char* const name = member.memberName(&nameEnd);
            const std::string_view wanted(name, nameEnd);
            while (row != kFieldsByMember.end() && row->member < wanted) ++row;
            if (row == kFieldsByMember.end()) return;
            if (row->member == wanted) Add(*row->field, *member);
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
