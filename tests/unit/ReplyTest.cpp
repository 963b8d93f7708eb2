#include "engine/Reply.h"

#include <gtest/gtest.h>

#include "Utility/Json.h"

namespace {

using qsn::ReplyPayload;
using qsn::RequestType;
using qsn::UniqueCom;

ReplyPayload ReadUser(const char* data) {
    Json::Value value;
    EXPECT_TRUE(qsn::ParseJson(data, &value)) << data;
    ReplyPayload payload;
    EXPECT_EQ(qsn::ReadPayload(RequestType::kGetUserInfo, value, &payload), S_OK) << data;
    return payload;
}

std::string Text(IQSNDataSet& record, int32_t id) {
    char buffer[256] = "unreadable";
    EXPECT_EQ(record.GetString(id, buffer, sizeof(buffer)), S_OK);
    return buffer;
}

UniqueCom<IQSNList> Menu(const ReplyPayload& payload) {
    UniqueCom<IQSNList> menu;
    EXPECT_EQ(payload.userInfo->GetUserMenu(qsn::Out(menu)), S_OK);
    return menu;
}

UniqueCom<IQSNDataSet> Item(IQSNList& list, uint32_t index) {
    UniqueCom<IQSNDataSet> item;
    EXPECT_EQ(list.GetItem(index, qsn::Out(item)), S_OK);
    return item;
}

TEST(UserInfoPayload, WrongTypesReadLikeMissingMembers) {
    const struct {
        const char* data;
        uint32_t menuCount;
    } cases[] = {
        {"null", 0},
        {R"("text")", 0},
        {R"({"userID":{},"userName":[],"userEmail":null})", 0},
        {R"({"userMenu":{"item":"A"}})", 0},
        {R"({"userMenu":[1,null,[],{"item":{},"url":[]}]})", 4},
    };
    for (const auto& each : cases) {
        const ReplyPayload payload = ReadUser(each.data);
        for (int32_t id : {QSN_USER_ID, QSN_USER_NAME, QSN_USER_EMAIL}) EXPECT_EQ(Text(*payload.userInfo, id), "");
        const auto menu = Menu(payload);
        ASSERT_EQ(menu->GetCount(), each.menuCount) << each.data;
        for (uint32_t i = 0; i < each.menuCount; ++i) EXPECT_EQ(Text(*Item(*menu, i), QSN_MENU_ITEM), "");
    }
}

TEST(ResultObjects, FollowTheRulesOfCom) {
    const ReplyPayload payload = ReadUser(R"({"userMenu":[{"item":"A"}]})");
    const auto menu = Menu(payload);
    const auto item = Item(*menu, 0);
    Json::Value products;
    products.append(Json::Value());
    ReplyPayload listPayload;
    ASSERT_EQ(qsn::ReadPayload(RequestType::kGetProductList, products, &listPayload), S_OK);
    const auto product = Item(*listPayload.productList, 0);
    struct {
        IUnknown* object;
        std::vector<IID> interfaces;
    } const cases[] = {
        {payload.userInfo.get(), {IID_IUnknown, IID_IQSNDataSet, IID_IQSNUserInfo}},
        {menu.get(), {IID_IUnknown, IID_IQSNList}},
        {item.get(), {IID_IUnknown, IID_IQSNDataSet}},
        {listPayload.productList.get(), {IID_IUnknown, IID_IQSNList}},
        {product.get(), {IID_IUnknown, IID_IQSNDataSet}},
    };
    for (const auto& each : cases) {
        UniqueCom<IUnknown> identity;
        ASSERT_EQ(each.object->QueryInterface(IID_IUnknown, qsn::Out(identity)), S_OK);
        for (const IID& from : each.interfaces) {
            UniqueCom<IUnknown> start, back;
            ASSERT_EQ(each.object->QueryInterface(from, qsn::Out(start)), S_OK);
            ASSERT_EQ(start->QueryInterface(IID_IUnknown, qsn::Out(back)), S_OK);
            EXPECT_EQ(back.get(), identity.get());
            for (const IID& to : each.interfaces) {
                UniqueCom<IUnknown> target;
                EXPECT_EQ(start->QueryInterface(to, qsn::Out(target)), S_OK);
            }
        }
        void* other = each.object;
        EXPECT_EQ(each.object->QueryInterface(IID_IPVSubscription, &other), E_NOINTERFACE);
        EXPECT_EQ(other, nullptr);
        EXPECT_EQ(each.object->QueryInterface(IID_IUnknown, nullptr), E_POINTER);
    }
}

TEST(ResultObjects, AnswerBadArgumentsWithCodes) {
    const ReplyPayload payload = ReadUser(R"({"userID":"abc","userMenu":[{"item":"A"}]})");
    IQSNUserInfo& user = *payload.userInfo;
    char buffer[4] = "old";
    uint32_t length = 9;
    int32_t number = 9;
    void* object = nullptr;
    EXPECT_EQ(user.GetString(QSN_USER_ID, buffer, 3), E_INVALIDARG);
    EXPECT_STREQ(buffer, "old");
    EXPECT_EQ(user.GetString(QSN_USER_ID, buffer, 4), S_OK);
    for (int32_t id : {-1, 0, 4}) {
        EXPECT_EQ(user.GetString(id, buffer, 4), E_INVALIDARG);
        EXPECT_EQ(user.GetStringLength(id, &length), E_INVALIDARG);
        EXPECT_EQ(user.GetFieldType(id, &number), E_INVALIDARG);
    }
    EXPECT_EQ(user.GetFieldType(QSN_USER_ID, &number), S_OK);
    EXPECT_EQ(number, QSN_FIELD_TEXT);
    EXPECT_EQ(user.GetInt(QSN_USER_ID, &number), E_INVALIDARG);
    EXPECT_EQ(user.GetObject5(1, &object), E_INVALIDARG);
    for (HRESULT result : {user.GetString(QSN_USER_ID, nullptr, 4), user.GetStringLength(QSN_USER_ID, nullptr),
                           user.GetInt(QSN_USER_ID, nullptr), user.GetObject5(1, nullptr)})
        EXPECT_EQ(result, E_POINTER);
    for (HRESULT result : {user.GetObject6(1, nullptr), user.GetObject7(1, nullptr)}) EXPECT_EQ(result, E_INVALIDARG);

    const auto menu = Menu(payload);
    EXPECT_EQ(menu->GetItem(1, nullptr), E_INVALIDARG) << "the index is looked at first";
    EXPECT_EQ(menu->GetItem(0, nullptr), E_POINTER);
    EXPECT_EQ(Item(*menu, 0)->GetInt(1, nullptr), E_INVALIDARG) << "unlike other records";
    EXPECT_EQ(Text(*Item(*menu, 0), QSN_MENU_ITEM), "A");
}

}  // namespace
