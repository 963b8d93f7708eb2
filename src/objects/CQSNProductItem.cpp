#include "objects/CQSNProductItem.h"

#include "objects/ProductFields.h"

namespace qsn {

UniqueCom<CQSNProductItem> CQSNProductItem::Create(std::span<const PackedFields::Field> fields) {
    UniqueCom<CQSNProductItem> item(new (Room{PackedFields::SizeOf(fields)}) CQSNProductItem);
    PackedFields::Pack(fields, reinterpret_cast<char*>(item.get() + 1));
    return item;
}

HRESULT STDMETHODCALLTYPE CQSNProductItem::GetInt(int32_t id, int32_t* value) {
    if (!value) return E_POINTER;
    const ProductField* const field = FindProductField(id);
    if (!field || field->kind == ProductFieldKind::kText) return E_INVALIDARG;
    *value = Fields().Number(static_cast<std::uint8_t>(id));
    return S_OK;
}

HRESULT STDMETHODCALLTYPE CQSNProductItem::GetFieldType(int32_t id, int32_t* type) {
    if (!type) return E_POINTER;
    const ProductField* const field = FindProductField(id);
    if (!field || field->kind == ProductFieldKind::kUntypedInteger) return E_INVALIDARG;
    *type = field->kind == ProductFieldKind::kText ? QSN_FIELD_TEXT : QSN_FIELD_INTEGER;
    return S_OK;
}

std::optional<std::string_view> CQSNProductItem::Text(int32_t id) const {
    const ProductField* const field = FindProductField(id);
    if (!field || field->kind != ProductFieldKind::kText) return std::nullopt;
    return Fields().Text(static_cast<std::uint8_t>(id));
}

}  // namespace qsn
