#include "protocol/Reply.h"

#include <gtest/gtest.h>

#include "Utility/Json.h"
#include "objects/CQSNProductItem.h"
#include "objects/ProductFields.h"
#include "protocol/ProductPayload.h"

namespace qsn::test {
namespace {

Json::Value Parsed(const std::string& text) { return ParseJson(text).value(); }

ReplyPayload ReadUser(const char* data) { return ReadPayload(RequestType::kGetUserInfo, Parsed(data)).value; }

std::string Text(IQSNDataSet& record, int32_t id) {
    char buffer[256] = "unreadable";
    EXPECT_EQ(record.GetString(id, buffer, sizeof(buffer)), S_OK) << id;
    return buffer;
}

UniqueCom<IQSNList> Menu(const ReplyPayload& payload) {
    UniqueCom<IQSNList> menu;
    EXPECT_EQ(payload.userInfo->GetUserMenu(Out(menu)), S_OK);
    return menu;
}

UniqueCom<IQSNDataSet> Item(IQSNList& list, uint32_t index) {
    UniqueCom<IQSNDataSet> item;
    EXPECT_EQ(list.GetItem(index, Out(item)), S_OK);
    return item;
}

TEST(ProductPayload, ReadsEveryMemberOfEveryTypeOrAsMissing) {
    const std::tuple<const char*, const char*, int32_t> cases[] = {{"\"7\"", "7", 0},
                                                                   {"-7", "-7", -7},
                                                                   {"2147483648", "2147483648", 0},
                                                                   {"7.9", "7.9000000000000004", 7},
                                                                   {"1e300", "1.0000000000000001e+300", 0},
                                                                   {"true", "true", 1},
                                                                   {"null", "", 0},
                                                                   {"[1]", "", 0}};
    for (const auto& [value, text, number] : cases) {
        // A name that only begins like a field's name, or a part of one, is another name.
        std::string data = R"([{"":"x","A":"x","FileSizes":"x","demoUr":"x","demoUrl ":"x","sid2":"x","zzz":"x")";
        for (const ProductField& field : kProductFields)
            if (field.member) data += std::string(",\"") + field.member + "\":" + value;
        const auto list = ReadProductList(Parsed(data + R"(},{"demoUrl":2,"x":"x"}])"));
        ASSERT_EQ(list->GetCount(), 2u);
        const auto item = Item(*list, 0), next = Item(*list, 1);
        for (const ProductField& field : kProductFields) {
            int32_t read = -1;
            if (field.kind == ProductFieldKind::kText) {
                EXPECT_EQ(Text(*item, field.id), field.member ? text : "") << value;
            } else {
                EXPECT_EQ(item->GetInt(field.id, &read), S_OK);
                EXPECT_EQ(read, number) << value << " " << field.id;
            }
        }
        EXPECT_EQ(Text(*next, QSN_PRODUCT_DEMO_URL), "2");
        EXPECT_EQ(Text(*next, QSN_PRODUCT_NAME), "") << "nothing of the one before it";
    }
}

TEST(PackedFieldTexts, KeepTheirBytesWhateverTheirLength) {
    for (std::size_t length : {0u, 127u, 128u, 16384u, 3000000u}) {
        const std::string text(length, '\0');
        const PackedFields::Field fields[] = {{.id = 3, .isText = true, .text = text},
                                              {.id = 127, .number = INT32_MIN},
                                              {.id = 1, .isText = true, .text = "last"}};
        std::vector<char> block(PackedFields::SizeOf(fields));
        PackedFields::Pack(fields, block.data());
        const PackedFields packed(block.data());
        EXPECT_EQ(packed.Text(3), text);
        EXPECT_EQ(packed.Number(127), INT32_MIN);
        EXPECT_EQ(packed.Text(1), "last");
        EXPECT_EQ(packed.Text(2), "");
    }
}

TEST(ResultObjects, FollowTheRulesOfCom) {
    const ReplyPayload payload = ReadUser(R"({"userMenu":[{"item":"A"}]})");
    const auto menu = Menu(payload), products = ReadProductList(Parsed("[{}]"));
    const auto menuItem = Item(*menu, 0), product = Item(*products, 0);
    const std::pair<IUnknown*, IID> cases[] = {{payload.userInfo.get(), IID_IQSNDataSet},
                                               {payload.userInfo.get(), IID_IQSNUserInfo},
                                               {menu.get(), IID_IQSNList},
                                               {menuItem.get(), IID_IQSNDataSet},
                                               {product.get(), IID_IQSNDataSet}};
    for (const auto& [object, interfaceId] : cases) {
        UniqueCom<IUnknown> identity, other, back;
        ASSERT_EQ(object->QueryInterface(IID_IUnknown, Out(identity)), S_OK);
        ASSERT_EQ(identity->QueryInterface(interfaceId, Out(other)), S_OK);
        ASSERT_EQ(other->QueryInterface(IID_IUnknown, Out(back)), S_OK);
        EXPECT_EQ(back, identity);
        void* none = object;
        EXPECT_EQ(object->QueryInterface(IID_IPVSubscription, &none), E_NOINTERFACE);
        EXPECT_EQ(none, nullptr);
        EXPECT_EQ(object->QueryInterface(IID_IUnknown, nullptr), E_POINTER);
    }
}

TEST(ResultObjects, ReadWrongTypesLikeMissingMembers) {
    EXPECT_EQ(Menu(ReadUser(R"({"userMenu":{"item":"A"}})"))->GetCount(), 0u);
    const auto menu = Menu(ReadUser(R"({"userMenu":[1,null,[],{"item":{},"url":[]}]})"));
    ASSERT_EQ(menu->GetCount(), 4u);
    for (uint32_t i = 0; i < 4; ++i) EXPECT_EQ(Text(*Item(*menu, i), QSN_MENU_ITEM), "");
    EXPECT_EQ(Text(*ReadUser(R"({"userID":{}})").userInfo, QSN_USER_ID), "");
}

// Those of products are tested elsewhere.
TEST(ResultObjects, OfTextsOnlyAnswerBadArgumentsWithCodes) {
    const ReplyPayload payload = ReadUser(R"({"userID":"abc","userMenu":[{"item":"A"}]})");
    IQSNUserInfo& user = *payload.userInfo;
    char buffer[4] = "old";
    int32_t number = 9;
    EXPECT_EQ(user.GetString(QSN_USER_ID, buffer, 3), E_INVALIDARG);
    EXPECT_STREQ(buffer, "old");
    EXPECT_EQ(user.GetString(QSN_USER_ID, buffer, 4), S_OK);
    for (int32_t id : {0, 4}) {
        EXPECT_EQ(user.GetString(id, buffer, 4), E_INVALIDARG);
        EXPECT_EQ(user.GetFieldType(id, &number), E_INVALIDARG);
    }
    EXPECT_EQ(user.GetFieldType(QSN_USER_ID, &number), S_OK);
    EXPECT_EQ(number, QSN_FIELD_TEXT);
    EXPECT_EQ(user.GetInt(QSN_USER_ID, &number), E_INVALIDARG);
    EXPECT_EQ(user.GetInt(QSN_USER_ID, nullptr), E_POINTER);
    EXPECT_EQ(user.GetUserMenu(nullptr), E_POINTER);
    EXPECT_EQ(Item(*Menu(payload), 0)->GetInt(1, nullptr), E_INVALIDARG) << "unlike other records";
}

}  // namespace
}  // namespace qsn::test
