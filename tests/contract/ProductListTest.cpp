#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <sstream>
#include <thread>

#include "support/SessionTest.h"

namespace {

using namespace qsn::test;

using ListPointer = std::unique_ptr<IQSNList, ObjectReleaser>;
using ItemPointer = std::unique_ptr<IQSNDataSet, ObjectReleaser>;

ItemPointer ItemOf(IQSNList& list, uint32_t index) {
    void* item = nullptr;
    EXPECT_EQ(list.GetItem(index, &item), S_OK);
    return ItemPointer(static_cast<IQSNDataSet*>(item));
}

class ProductListRequest : public SessionTest {
protected:
    void SetUp() override {
        SessionTest::SetUp();
        SignIn();
    }
    // Kept beyond the callback; null if that brought none.
    ListPointer Fetch(bool second = false) {
        const int action = second ? QSN_ACTION_GET_PRODUCTLIST_V2_RESULT : QSN_ACTION_GET_PRODUCTLIST_RESULT;
        ListPointer list;
        m_callback.onEvent = [&](const Event& event, void* data) {
            if (event.action == action) list.reset(static_cast<IQSNList*>(data));
            if (list) list->AddRef();
            return S_OK;
        };
        EXPECT_EQ(second ? m_qsn->GetProductListV2() : m_qsn->GetProductList(), S_OK);
        EXPECT_EQ(m_callback.ResultOf(action), QSN_CALLBACK_OK);
        // A later event must not use this frame.
        EXPECT_EQ(AccessToken(), kToken);
        m_callback.onEvent = nullptr;
        return list;
    }
    ListPointer FetchData(const std::string& data, bool second = false) {
        Server().Rules().Once({.body = "{\"result\":0,\"data\":" + data + "}"});
        return Fetch(second);
    }
};

constexpr int32_t kLastId = 45;

// Of the field with the identifier; empty: reserved.
std::string MemberOf(int32_t id) {
    std::istringstream names(
        "productName productType displayProductName version displayVersion versionType displayVersionType sid "
        "downloadURL downloadURLMD5 productStatus - isChecked isUpgraded - - - FileSize patchFileSize patchDownloadURL "
        "patchDownloadURLMD5 - upgradeProducts contentPackWebPageURL isContentPack nonSilentInstallation icon "
        "tutorialURL introURL productBelongs publishDate isThirdPartyPack patchInfo whatNewUrl backgroundMusic "
        "soundClips haveX64Build stockVideo stockPhoto extendFeature thumb1 thumb2 contentDetail contentDescription "
        "demoUrl");
    std::string name;
    for (int32_t i = 0; i < id; ++i) names >> name;
    return name == "-" ? "" : name;
}
bool IsInteger(int32_t id) {
    constexpr int32_t kIntegers[] = {13, 14, 25, 26, 32, 35, 36, 37, 38, 39};
    return std::ranges::find(kIntegers, id) != std::end(kIntegers);
}
bool IsText(int32_t id) { return id >= 1 && id <= kLastId && !IsInteger(id); }
std::string TextOf(int32_t id) { return MemberOf(id).empty() ? "" : MemberOf(id) + " \xc3\xa4"; }

std::string FullProduct() {
    Json::Value product;
    for (int32_t id = 1; id <= kLastId; ++id) {
        const std::string member = MemberOf(id);
        if (!member.empty()) product[member] = IsInteger(id) ? Json::Value(-1000 - id) : Json::Value(TextOf(id));
    }
    return "[" + product.toStyledString() + "]";
}

TEST_F(ProductListRequest, EveryFieldIsReadByItsIdentifier) {
    const ListPointer list = FetchData(FullProduct());
    ASSERT_EQ(list->GetCount(), 1u);
    const ItemPointer item = ItemOf(*list, 0);
    for (int32_t id = -1; id <= kLastId + 1; ++id) {
        SCOPED_TRACE(id);
        EXPECT_EQ(ReadText(*item, id), IsText(id) ? TextOf(id) : "unreadable");
        int32_t number = 5, type = 0;
        EXPECT_EQ(item->GetInt(id, &number), IsInteger(id) ? S_OK : E_INVALIDARG);
        EXPECT_EQ(number, IsInteger(id) ? -1000 - id : 5);
        const bool typed = IsText(id) || (IsInteger(id) && id < QSN_PRODUCT_STOCK_VIDEO);
        EXPECT_EQ(item->GetFieldType(id, &type), typed ? S_OK : E_INVALIDARG);
        EXPECT_EQ(type, !typed ? 0 : IsText(id) ? QSN_FIELD_TEXT : QSN_FIELD_INTEGER);
        EXPECT_EQ(item->GetInt(id, nullptr), E_POINTER);
        EXPECT_EQ(item->GetFieldType(id, nullptr), E_POINTER);
    }
}

TEST_F(ProductListRequest, WhatIsNoListOfObjectsIsNoFailure) {
    EXPECT_EQ(FetchData("null", true), nullptr);
    const std::pair<const char*, uint32_t> cases[] = {
        {"null", 0}, {"{}", 0}, {"\"text\"", 0}, {"[1,null,\"x\",[],{},-1.5,true]", 7}};
    for (const auto& [data, count] : cases) {
        const ListPointer list = FetchData(data);
        ASSERT_NE(list, nullptr) << data;
        EXPECT_EQ(list->GetCount(), count) << data;
    }
    const ListPointer list = FetchData("[{\"productName\":\"\xff\xc3(\xed\xa0\x80\",\"sid\":\"a\\u0000b\"}]");
    ASSERT_NE(list, nullptr);
    EXPECT_EQ(ReadText(*ItemOf(*list, 0), QSN_PRODUCT_NAME), "\xff\xc3(\xed\xa0\x80") << "no UTF-8 is passed on";
    EXPECT_EQ(ReadText(*ItemOf(*list, 0), QSN_PRODUCT_SID), std::string("a\0b", 3));
}

TEST_F(ProductListRequest, ObjectsOutliveTheLibraryObjectOnAnyThread) {
    ListPointer list = FetchData(FullProduct());
    IQSNList* menu = nullptr;
    m_callback.onEvent = [&](const Event&, void* user) { return static_cast<IQSNUserInfo*>(user)->GetUserMenu(&menu); };
    ASSERT_EQ(UserInfoResult(), QSN_CALLBACK_OK);
    ASSERT_EQ(m_qsn->Uninit(), S_OK);
    m_qsn.reset();

    ItemPointer item = ItemOf(*list, 0);
    EXPECT_EQ(list.release()->Release(), 0u);
    std::thread readers[4];
    for (std::thread& reader : readers) {
        reader = std::thread([&] {
            for (int round = 0; round < 5000; ++round) {
                item->AddRef();
                item->Release();
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
