// Product lists: every field of every product, read through the slots that a host calls.
#include <string>

#include "Utility/Json.h"
#include "objects/ProductFields.h"
#include "protocol/ProductPayload.h"
#include "support/Records.h"
#include "support/Require.h"

namespace {

using qsn::ProductField;
using qsn::ProductFieldKind;

void CheckNumber(IQSNDataSet& item, const ProductField& field, int32_t expected) {
    int32_t number = ~expected;
    uint32_t length = 0;
    int32_t type = 0;
    REQUIRE(item.GetInt(field.id, &number) == S_OK && number == expected);
    REQUIRE(item.GetStringLength(field.id, &length) == E_INVALIDARG);
    const bool isTyped = field.kind == ProductFieldKind::kInteger;
    REQUIRE(item.GetFieldType(field.id, &type) == (isTyped ? S_OK : E_INVALIDARG));
    REQUIRE(type == (isTyped ? QSN_FIELD_INTEGER : 0));
}

void CheckItem(IQSNDataSet& item, const Json::Value& product) {
    for (const ProductField& field : qsn::kProductFields) {
        if (field.kind == ProductFieldKind::kText) {
            qsn::fuzz::RequireText(item, field.id, field.member ? qsn::JsonText(product, field.member) : std::string());
        } else {
            CheckNumber(item, field, qsn::JsonInt(product, field.member));
        }
    }
    for (const int32_t id : {-1, 0, QSN_PRODUCT_DEMO_URL + 1}) qsn::fuzz::RequireNoField(item, id);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const auto products = qsn::ParseJson({reinterpret_cast<const char*>(data), size});
    if (!products) return 0;
    const qsn::UniqueCom<IQSNList> list = qsn::ReadProductList(*products);
    const uint32_t count = products->isArray() ? products->size() : 0;
    REQUIRE(list->GetCount() == count);
    void* nothing = nullptr;
    REQUIRE(list->GetItem(count, &nothing) == E_INVALIDARG && nothing == nullptr);
    for (uint32_t i = 0; i < count; ++i) CheckItem(*qsn::fuzz::Item(*list, i), (*products)[i]);
    return 0;
}
