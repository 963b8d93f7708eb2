#include "engine/Reply.h"

#include <gtest/gtest.h>

#include "Utility/Json.h"
#include "engine/ResultCodes.h"

namespace {

using qsn::ReplyEnvelope;
using qsn::ReplyPayload;
using qsn::RequestType;
using qsn::UniqueCom;

TEST(ReplyEnvelope, IsReadOrRefused) {
    const std::string tooDeep = R"({"result":0,"data":)" + std::string(100000, '[');
    struct {
        std::string reply;
        HRESULT expected;
        int result;
        const char* message;
    } const cases[] = {
        {R"({"result":0})", S_OK, 0, ""},
        {R"({"result":3,"additionalMessage":"hello"})", S_OK, 3, "hello"},
        {R"({"result":0,"additionalMessage":{"a":1}})", S_OK, 0, ""},
        {"", E_INVALIDARG, 0, ""},
        {"not JSON", E_INVALIDARG, 0, ""},
        {R"({"result":0)", E_INVALIDARG, 0, ""},
        {tooDeep, E_INVALIDARG, 0, ""},
        {"{}", qsn::kReplyWithoutResult, 0, ""},
        {"[]", qsn::kReplyWithoutResult, 0, ""},
        {"7", qsn::kReplyWithoutResult, 0, ""},
        {"null", qsn::kReplyWithoutResult, 0, ""},
        {R"({"result":"zero"})", qsn::kReplyWithoutResult, 0, ""},
        {R"({"result":[0]})", qsn::kReplyWithoutResult, 0, ""},
        {R"({"result":99999999999})", qsn::kReplyWithoutResult, 0, ""},
    };
    for (const auto& each : cases) {
        ReplyEnvelope envelope;
        const std::string shown = each.reply.substr(0, 60);
        EXPECT_EQ(qsn::ReadEnvelope(each.reply, &envelope), each.expected) << shown;
        EXPECT_EQ(envelope.result, each.result) << shown;
        EXPECT_EQ(envelope.additionalMessage, each.message) << shown;
    }
}

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

TEST(UserInfoPayload, FillsTheObjects) {
    const ReplyPayload payload = ReadUser(R"({"userID":"42","userName":"Ada \u00e4","userEmail":"ada@example.org",
        "userMenu":[{"item":"A","url":"https://a"},{"item":"B","url":"https://b"}]})");
    EXPECT_EQ(payload.userID, "42");
    EXPECT_EQ(Text(*payload.userInfo, QSN_USER_ID), "42");
    EXPECT_EQ(Text(*payload.userInfo, QSN_USER_NAME), "Ada \xc3\xa4");
    EXPECT_EQ(Text(*payload.userInfo, QSN_USER_EMAIL), "ada@example.org");
    const auto menu = Menu(payload);
    ASSERT_EQ(menu->GetCount(), 2u);
    EXPECT_EQ(Text(*Item(*menu, 0), QSN_MENU_ITEM), "A");
    EXPECT_EQ(Text(*Item(*menu, 1), QSN_MENU_URL), "https://b");
}

TEST(UserInfoPayload, WrongTypesReadLikeMissingMembers) {
    struct {
        const char* data;
        uint32_t menuCount;
    } const cases[] = {
        {"null", 0},
        {"[1,2]", 0},
        {R"("text")", 0},
        {R"({"userID":{},"userName":[],"userEmail":null})", 0},
        {R"({"userMenu":{"item":"A"}})", 0},
        {R"({"userMenu":"A"})", 0},
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

TEST(ReplyPayload, IsReadForTheTypesThatHaveOne) {
    ReplyPayload payload;
    EXPECT_EQ(qsn::ReadPayload(RequestType::kSignOut, Json::Value(), &payload), S_OK);
    EXPECT_EQ(qsn::ReadPayload(RequestType::kLogGIQuota, Json::Value(), &payload), S_OK);
    EXPECT_EQ(qsn::ReadPayload(RequestType::kInitMemberAuth, Json::Value(), &payload), E_NOTIMPL);
    EXPECT_EQ(payload.userInfo, nullptr);
    EXPECT_EQ(payload.productList, nullptr);
}

TEST(ReplyPayload, DependsOnTheTypeForNullLists) {
    for (RequestType type : {RequestType::kGetProductList, RequestType::kGetProductListV2}) {
        ReplyPayload payload;
        EXPECT_EQ(qsn::ReadPayload(type, Json::Value(), &payload), S_OK);
        EXPECT_EQ(payload.productList != nullptr, type == RequestType::kGetProductList);
    }
}

TEST(ReplyPayload, TheTimeOfTheNextCheckComesWithAnyReply) {
    struct {
        const char* data;
        int expected;
    } const cases[] = {
        {R"({"nextVerifyTime":3600})", 3600},
        {R"({"nextVerifyTime":"x"})", 0},
        {R"({"nextVerifyTime":99999999999})", 0},
    };
    for (const auto& each : cases) {
        Json::Value data;
        ASSERT_TRUE(qsn::ParseJson(each.data, &data));
        for (RequestType type : {RequestType::kVerifyToken, RequestType::kGetUserInfo, RequestType::kQueryGIQuota}) {
            ReplyPayload payload;
            EXPECT_EQ(qsn::ReadPayload(type, data, &payload), S_OK);
            EXPECT_EQ(payload.nextVerifyTime, each.expected) << each.data;
        }
    }
    ReplyPayload payload;
    EXPECT_EQ(qsn::ReadPayload(RequestType::kVerifyToken, Json::Value(Json::arrayValue), &payload), S_OK);
    EXPECT_FALSE(payload.nextVerifyTime);
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
            UniqueCom<IUnknown> start;
            ASSERT_EQ(each.object->QueryInterface(from, qsn::Out(start)), S_OK);
            for (const IID& to : each.interfaces) {
                UniqueCom<IUnknown> target;
                ASSERT_EQ(start->QueryInterface(to, qsn::Out(target)), S_OK);
                UniqueCom<IUnknown> again;
                ASSERT_EQ(target->QueryInterface(IID_IUnknown, qsn::Out(again)), S_OK);
                EXPECT_EQ(again.get(), identity.get());
            }
        }
        void* other = each.object;
        EXPECT_EQ(each.object->QueryInterface(IID_IPVSubscription, &other), E_NOINTERFACE);
        EXPECT_EQ(other, nullptr);
        EXPECT_EQ(each.object->QueryInterface(IID_IUnknown, nullptr), E_POINTER);
    }
}

TEST(ResultObjects, ElementsOutliveTheObjectsThatHeldThem) {
    UniqueCom<IQSNDataSet> item;
    {
        const ReplyPayload payload = ReadUser(R"({"userMenu":[{"item":"A"}]})");
        item = Item(*Menu(payload), 0);
    }
    EXPECT_EQ(Text(*item, QSN_MENU_ITEM), "A");
    EXPECT_EQ(item->AddRef(), 2u);
    EXPECT_EQ(item->Release(), 1u);
}

TEST(ResultObjects, AnswerBadArgumentsWithCodes) {
    const ReplyPayload payload = ReadUser(R"({"userID":"abc","userMenu":[{"item":"A"}]})");
    IQSNUserInfo& user = *payload.userInfo;
    char buffer[4] = "old";
    uint32_t length = 9;
    int32_t number = 9;
    void* object = nullptr;
    EXPECT_EQ(user.GetString(QSN_USER_ID, nullptr, 4), E_POINTER);
    EXPECT_EQ(user.GetString(QSN_USER_ID, buffer, 3), E_INVALIDARG);
    EXPECT_STREQ(buffer, "old");
    EXPECT_EQ(user.GetString(QSN_USER_ID, buffer, 4), S_OK);
    for (int32_t id : {-1, 0, 4}) {
        EXPECT_EQ(user.GetString(id, buffer, 4), E_INVALIDARG);
        EXPECT_EQ(user.GetStringLength(id, &length), E_INVALIDARG);
        EXPECT_EQ(user.GetFieldType(id, &number), E_INVALIDARG);
    }
    EXPECT_EQ(user.GetStringLength(QSN_USER_ID, nullptr), E_POINTER);
    EXPECT_EQ(user.GetStringLength(QSN_USER_ID, &length), S_OK);
    EXPECT_EQ(length, 3u);
    EXPECT_EQ(user.GetFieldType(QSN_USER_ID, &number), S_OK);
    EXPECT_EQ(number, QSN_FIELD_TEXT);
    EXPECT_EQ(user.GetInt(QSN_USER_ID, &number), E_INVALIDARG);
    EXPECT_EQ(user.GetInt(QSN_USER_ID, nullptr), E_POINTER);
    EXPECT_EQ(user.GetObject5(1, nullptr), E_POINTER);
    EXPECT_EQ(user.GetObject5(1, &object), E_INVALIDARG);
    EXPECT_EQ(user.GetObject6(1, nullptr), E_INVALIDARG);
    EXPECT_EQ(user.GetObject7(1, nullptr), E_INVALIDARG);

    const auto menu = Menu(payload);
    EXPECT_EQ(menu->GetItem(1, nullptr), E_INVALIDARG) << "the index is looked at first";
    EXPECT_EQ(menu->GetItem(0, nullptr), E_POINTER);
    EXPECT_EQ(Item(*menu, 0)->GetInt(1, nullptr), E_INVALIDARG) << "unlike other records";
}

}  // namespace
