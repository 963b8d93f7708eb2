#include "engine/ProductPayload.h"

#include <gtest/gtest.h>

#include "Utility/Json.h"
#include "objects/CQSNProductItem.h"
#include "objects/ProductFields.h"

namespace {

using qsn::PackedFields;
using qsn::ProductField;
using qsn::ProductFieldKind;
using qsn::UniqueCom;

UniqueCom<IQSNList> ReadList(const std::string& data) {
    Json::Value value;
    EXPECT_TRUE(qsn::ParseJson(data, &value)) << data.substr(0, 100);
    return qsn::ReadProductList(value);
}

UniqueCom<IQSNDataSet> Item(IQSNList& list, uint32_t index) {
    UniqueCom<IQSNDataSet> item;
    EXPECT_EQ(list.GetItem(index, qsn::Out(item)), S_OK);
    return item;
}

std::string Text(IQSNDataSet& item, int32_t id) {
    uint32_t length = 0;
    EXPECT_EQ(item.GetStringLength(id, &length), S_OK) << id;
    std::string text(length, '\0');
    EXPECT_EQ(item.GetString(id, text.data(), length + 1), S_OK) << id;
    return text;
}

int32_t Number(IQSNDataSet& item, int32_t id) {
    int32_t number = -1;
    EXPECT_EQ(item.GetInt(id, &number), S_OK) << id;
    return number;
}

std::string ProductOf(const char* value) {
    std::string product;
    for (const ProductField& field : qsn::kProductFields) {
        if (!field.member) continue;
        product += (product.empty() ? "{\"" : ",\"") + std::string(field.member) + "\":" + value;
    }
    return product + "}";
}

TEST(ProductPayload, ReadsEveryMemberOfEveryTypeOrAsMissing) {
    struct {
        const char* value;
        const char* text;
        int32_t number;
    } const cases[] = {
        {"\"text\"", "text", 0},
        {"{\"a\":1}", "", 0},
        {"-7", "-7", -7},
        {"1e300", "1.0000000000000001e+300", 0},
    };
    for (const auto& each : cases) {
        // Between two sound products, which must not be mixed up with it.
        const auto list = ReadList("[" + ProductOf("1") + "," + ProductOf(each.value) + "," + ProductOf("2") + "]");
        ASSERT_EQ(list->GetCount(), 3u);
        const auto item = Item(*list, 1);
        for (const ProductField& field : qsn::kProductFields) {
            if (field.kind == ProductFieldKind::kText) {
                EXPECT_EQ(Text(*item, field.id), field.member ? each.text : "") << each.value;
            } else {
                EXPECT_EQ(Number(*item, field.id), each.number) << each.value << " " << field.id;
            }
        }
        EXPECT_EQ(Text(*Item(*list, 2), QSN_PRODUCT_DEMO_URL), "2");
    }
}

TEST(ProductPayload, FindsItsMembersAmongUnknownOnes) {
    const auto list = ReadList(R"([{"":1,"A":1,"FileSize":"9","FileSizes":"x","demoUr":"x","demoUrl":"d","demoUrl ":"x",
        "sid":"S","sid2":"x","zzz":1}])");
    const auto item = Item(*list, 0);
    EXPECT_EQ(Text(*item, QSN_PRODUCT_FILE_SIZE), "9");
    EXPECT_EQ(Text(*item, QSN_PRODUCT_DEMO_URL), "d");
    EXPECT_EQ(Text(*item, QSN_PRODUCT_SID), "S");
    EXPECT_EQ(Text(*item, QSN_PRODUCT_NAME), "");
}

TEST(PackedFieldTexts, KeepTheirBytesWhateverTheirLength) {
    for (std::size_t length : {0u, 1u, 127u, 128u, 16383u, 16384u, 3000000u}) {
        const std::string text(length, '\0');
        const PackedFields::Field fields[] = {
            {.id = 3, .isText = true, .text = text},
            {.id = 127, .number = INT32_MIN},
            {.id = 1, .isText = true, .text = "last"},
        };
        std::vector<char> block(PackedFields::SizeOf(fields));
        PackedFields::Pack(fields, block.data());
        const PackedFields packed(block.data());
        EXPECT_EQ(packed.Text(3), text);
        EXPECT_EQ(packed.Number(127), INT32_MIN);
        EXPECT_EQ(packed.Text(1), "last");
        EXPECT_EQ(packed.Text(2), "");
        EXPECT_EQ(packed.Number(1), 0) << "that one is a text";
        EXPECT_EQ(packed.Text(127), "") << "that one is a number";
    }
}

}  // namespace
