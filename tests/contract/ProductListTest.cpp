#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <span>
#include <thread>

#include "support/SessionTest.h"
#include "support/Slots.h"

namespace {

using namespace qsn::test;
using qsn::service::Accounts;

struct Owner {
    void operator()(IUnknown* object) const { object->Release(); }
};
using ListPointer = std::unique_ptr<IQSNList, Owner>;
using ItemPointer = std::unique_ptr<IQSNDataSet, Owner>;

ItemPointer ItemOf(IQSNList& list, uint32_t index) {
    void* item = nullptr;
    EXPECT_EQ(list.GetItem(index, &item), S_OK);
    return ItemPointer(static_cast<IQSNDataSet*>(item));
}

struct Generation {
    const char* name;
    int action;
    HRESULT (STDMETHODCALLTYPE IPVSubscription2::*request)();
    const char* requestType;
};

constexpr Generation kFirst{"First", QSN_ACTION_GET_PRODUCTLIST_RESULT, &IPVSubscription2::GetProductList,
                            "getProductList"};
constexpr Generation kSecond{"Second", QSN_ACTION_GET_PRODUCTLIST_V2_RESULT, &IPVSubscription2::GetProductListV2,
                             "getProductListV2"};

class ProductListRequest : public SessionTest {
protected:
    struct Answer {
        int result = -1;
        ListPointer list;  // kept beyond the callback
    };

    void SetUp() override {
        SessionTest::SetUp();
        SignIn();
    }
    Answer Fetch(const Generation& generation = kFirst) {
        Answer answer;
        m_callback.onEvent = [&](const Event& event, void* data) {
            if (event.action == generation.action && data) {
                answer.list.reset(static_cast<IQSNList*>(data));
                answer.list->AddRef();
            }
            return S_OK;
        };
        EXPECT_EQ((m_qsn.get()->*generation.request)(), S_OK);
        answer.result = m_callback.ResultOf(generation.action);
        // What comes later goes to a callback that no longer knows this frame.
        EXPECT_EQ(AccessToken().empty(), answer.result == QSN_CALLBACK_SERVER_RESULT_1);
        m_callback.onEvent = nullptr;
        return answer;
    }
    Answer FetchData(const Json::Value& data, const Generation& generation = kFirst) {
        Server().Rules().Once({.result = 0, .data = data}, {.requestType = generation.requestType});
        return Fetch(generation);
    }
};

struct FieldRow {
    int32_t id;
    const char* member;  // null: reserved
};
constexpr FieldRow kTexts[] = {
    {1, "productName"},
    {2, "productType"},
    {3, "displayProductName"},
    {4, "version"},
    {5, "displayVersion"},
    {6, "versionType"},
    {7, "displayVersionType"},
    {8, "sid"},
    {9, "downloadURL"},
    {10, "downloadURLMD5"},
    {11, "productStatus"},
    {12, nullptr},
    {15, nullptr},
    {16, nullptr},
    {17, nullptr},
    {18, "FileSize"},
    {19, "patchFileSize"},
    {20, "patchDownloadURL"},
    {21, "patchDownloadURLMD5"},
    {22, nullptr},
    {23, "upgradeProducts"},
    {24, "contentPackWebPageURL"},
    {27, "icon"},
    {28, "tutorialURL"},
    {29, "introURL"},
    {30, "productBelongs"},
    {31, "publishDate"},
    {33, "patchInfo"},
    {34, "whatNewUrl"},
    {40, "extendFeature"},
    {41, "thumb1"},
    {42, "thumb2"},
    {43, "contentDetail"},
    {44, "contentDescription"},
    {45, "demoUrl"},
};
constexpr FieldRow kIntegers[] = {
    {13, "isChecked"},        {14, "isUpgraded"},      {25, "isContentPack"}, {26, "nonSilentInstallation"},
    {32, "isThirdPartyPack"}, {35, "backgroundMusic"}, {36, "soundClips"},    {37, "haveX64Build"},
    {38, "stockVideo"},       {39, "stockPhoto"},
};

Json::Value FullProduct() {
    Json::Value product;
    for (const FieldRow& row : kTexts) {
        if (row.member) product[row.member] = std::string(row.member) + " \xc3\xa4";
    }
    for (const FieldRow& row : kIntegers) product[row.member] = -1000 - row.id;
    return product;
}

const FieldRow* Find(std::span<const FieldRow> rows, int32_t id) {
    const auto row = std::ranges::find(rows, id, &FieldRow::id);
    return row == rows.end() ? nullptr : &*row;
}

void ExpectText(IUnknown* item, const FieldRow& row) {
    const std::string expected = row.member ? std::string(row.member) + " \xc3\xa4" : "";
    char buffer[64] = "old";
    uint32_t length = 99;
    int32_t type = 0;
    EXPECT_EQ(CallSlot(item, 4, row.id, &length), S_OK) << row.id;
    EXPECT_EQ(length, expected.size()) << row.id;
    EXPECT_EQ(CallSlot(item, 3, row.id, buffer, length), E_INVALIDARG) << row.id;
    EXPECT_STREQ(buffer, "old");
    EXPECT_EQ(CallSlot(item, 3, row.id, buffer, length + 1), S_OK) << row.id;
    EXPECT_EQ(buffer, expected);
    EXPECT_EQ(CallSlot(item, 9, row.id, &type), S_OK) << row.id;
    EXPECT_EQ(type, QSN_FIELD_TEXT);
}

void ExpectNoText(IUnknown* item, int32_t id) {
    char buffer[64] = "old";
    uint32_t length = 99;
    EXPECT_EQ(CallSlot(item, 3, id, buffer, 64u), E_INVALIDARG) << id;
    EXPECT_EQ(CallSlot(item, 4, id, &length), E_INVALIDARG) << id;
    EXPECT_EQ(length, 99u);
    EXPECT_STREQ(buffer, "old");
}

void ExpectInteger(IUnknown* item, int32_t id, bool integer) {
    const bool typed = integer && id != 38 && id != 39;
    int32_t number = 5;
    EXPECT_EQ(CallSlot(item, 8, id, &number), integer ? S_OK : E_INVALIDARG) << id;
    EXPECT_EQ(number, integer ? -1000 - id : 5) << id;
    if (Find(kTexts, id)) return;
    number = 0;
    EXPECT_EQ(CallSlot(item, 9, id, &number), typed ? S_OK : E_INVALIDARG) << id;
    EXPECT_EQ(number == QSN_FIELD_INTEGER, typed) << id;
}

void ExpectReserved(IUnknown* item, int32_t id) {
    void* output = nullptr;
    EXPECT_EQ(CallSlot(item, 3, id, static_cast<char*>(nullptr), 64u), E_POINTER) << id;
    for (int slot : {4, 5, 8, 9}) {
        EXPECT_EQ(CallSlot(item, slot, id, static_cast<void*>(nullptr)), E_POINTER) << slot;
    }
    EXPECT_EQ(CallSlot(item, 5, id, &output), E_INVALIDARG) << id;
    for (int slot : {6, 7}) {
        EXPECT_EQ(CallSlot(item, slot, id, &output), E_INVALIDARG) << slot;
        EXPECT_EQ(CallSlot(item, slot, id, static_cast<void*>(nullptr)), E_INVALIDARG) << slot;
    }
}

TEST_F(ProductListRequest, EveryFieldIsReadThroughItsSlot) {
    Json::Value data;
    data.append(FullProduct());
    const Answer answer = FetchData(data);
    ASSERT_EQ(answer.result, QSN_CALLBACK_OK);
    ASSERT_EQ(CallSlot<uint32_t>(answer.list.get(), 4), 1u);
    void* element = nullptr;
    ASSERT_EQ(CallSlot(answer.list.get(), 3, 0u, &element), S_OK);
    const ItemPointer item(static_cast<IQSNDataSet*>(element));
    for (int32_t id = -1; id <= 46; ++id) {
        const FieldRow* const text = Find(kTexts, id);
        text ? ExpectText(item.get(), *text) : ExpectNoText(item.get(), id);
        ExpectInteger(item.get(), id, Find(kIntegers, id) != nullptr);
        ExpectReserved(item.get(), id);
    }
    EXPECT_EQ(CallSlot(answer.list.get(), 3, 1u, &element), E_INVALIDARG);
    EXPECT_EQ(CallSlot(answer.list.get(), 3, 1u, static_cast<void**>(nullptr)), E_INVALIDARG);
    EXPECT_EQ(CallSlot(answer.list.get(), 3, 0u, static_cast<void**>(nullptr)), E_POINTER);
}

TEST_F(ProductListRequest, BringsTheAccountsOwnListsInOrder) {
    Server().Accounts().Use([](Accounts& accounts) {
        accounts.users[0].memberTokens = {""};
        for (const char* name : {"A", "B", "C"}) accounts.users[0].products.append(Json::Value())["productName"] = name;
        accounts.users[0].productsV2.append(Json::Value())["productName"] = "Second";
    });
    const Answer first = Fetch(kFirst);
    ASSERT_NE(first.list, nullptr);
    ASSERT_EQ(first.list->GetCount(), 3u);
    for (uint32_t i = 0; i < 3; ++i) {
        EXPECT_EQ(ReadText(*ItemOf(*first.list, i), QSN_PRODUCT_NAME), std::string(1, static_cast<char>('A' + i)));
    }
    const Answer second = Fetch(kSecond);
    ASSERT_NE(second.list, nullptr);
    ASSERT_EQ(second.list->GetCount(), 1u);
    EXPECT_EQ(ReadText(*ItemOf(*second.list, 0), QSN_PRODUCT_NAME), "Second");
}

TEST_F(ProductListRequest, WhatIsNoListOfObjectsIsNoFailure) {
    constexpr int kNoList = -1;
    struct {
        const char* data;
        int first, second;
    } const cases[] = {
        {"[]", 0, 0},
        {"null", 0, kNoList},
        {"{}", 0, 0},
        {"\"text\"", 0, 0},
        {"77", 0, 0},
        {"false", 0, 0},
        {"[1,null,\"x\",[],{},-1.5,true]", 7, 7},
    };
    for (const auto& each : cases) {
        for (const Generation& generation : {kFirst, kSecond}) {
            Server().Rules().Once({.body = std::string("{\"result\":0,\"data\":") + each.data + "}"});
            const Answer answer = Fetch(generation);
            const int expected = generation.action == kFirst.action ? each.first : each.second;
            EXPECT_EQ(answer.result, QSN_CALLBACK_OK) << each.data;
            EXPECT_EQ(answer.list ? static_cast<int>(answer.list->GetCount()) : kNoList, expected)
                << generation.name << " " << each.data;
        }
    }
}

std::string ManyWrongProducts() {
    std::string data = "[";
    for (int i = 0; i < 20000; ++i) data += R"({"productName":{"a":[1]},"isChecked":"x","sid":[],"stockVideo":1e99},)";
    return data + "null]";
}

TEST_F(ProductListRequest, HostileProductsGiveACodeAndTheNextRequestWorks) {
    const std::pair<std::string, int> cases[] = {
        {"[{\"productName\":" + std::string(100000, '[') + std::string(100000, ']') + "}]",
         QSN_CALLBACK_NETWORK_OR_UNKNOWN},
        {"[{\"productName\":\"" + std::string(20u << 20, 'x') + "\"}]", QSN_CALLBACK_OK},
        {ManyWrongProducts(), QSN_CALLBACK_OK},
    };
    for (const auto& [data, expected] : cases) {
        for (const Generation& generation : {kFirst, kSecond}) {
            Server().Rules().Once({.body = "{\"result\":0,\"data\":" + data + "}"});
            EXPECT_EQ(Fetch(generation).result, expected) << data.substr(0, 40);
        }
        EXPECT_EQ(FetchData(Json::Value(Json::arrayValue)).result, QSN_CALLBACK_OK) << data.substr(0, 40);
    }
}

TEST_F(ProductListRequest, PassesBrokenUtf8OnAsItIs) {
    const std::string bytes = "\xff\xc3(\xed\xa0\x80";
    Server().Rules().Once(
        {.body = "{\"result\":0,\"data\":[{\"productName\":\"" + bytes + "\",\"sid\":\"a\\u0000b\"}]}"});
    const Answer answer = Fetch();
    ASSERT_NE(answer.list, nullptr);
    EXPECT_EQ(ReadText(*ItemOf(*answer.list, 0), QSN_PRODUCT_NAME), bytes);
    EXPECT_EQ(ReadText(*ItemOf(*answer.list, 0), QSN_PRODUCT_SID), std::string("a\0b", 3));
}

TEST_F(ProductListRequest, ObjectsOutliveTheLibraryObjectOnAnyThread) {
    Json::Value data;
    data.append(FullProduct());
    Answer answer = FetchData(data);
    IQSNList* menu = nullptr;
    m_callback.onEvent = [&](const Event&, void* user) { return static_cast<IQSNUserInfo*>(user)->GetUserMenu(&menu); };
    ASSERT_EQ(UserInfoResult(), QSN_CALLBACK_OK);
    ASSERT_EQ(m_qsn->Uninit(), S_OK);
    m_qsn.reset();

    ItemPointer item = ItemOf(*answer.list, 0);
    EXPECT_EQ(answer.list.release()->Release(), 0u);
    std::vector<std::thread> readers;
    readers.reserve(4);
    for (int i = 0; i < 4; ++i) {
        readers.emplace_back([&] {
            for (int round = 0; round < 5000; ++round) {
                void* again = nullptr;
                if (item->QueryInterface(IID_IQSNDataSet, &again) != S_OK) ADD_FAILURE();
                item->Release();
                menu->AddRef();
                menu->Release();
            }
            EXPECT_EQ(ReadText(*item, QSN_PRODUCT_DEMO_URL), "demoUrl \xc3\xa4");
            EXPECT_EQ(ReadText(*ItemOf(*menu, 0), QSN_MENU_ITEM), "Account");
        });
    }
    for (std::thread& reader : readers) reader.join();
    EXPECT_EQ(item.release()->Release(), 0u);
    EXPECT_EQ(menu->Release(), 0u);
}

}  // namespace
