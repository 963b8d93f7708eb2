/* What requests bring, copied out of the library's objects. Texts are UTF-8. Part of <qsn/client.hpp>. */
#ifndef QSN_CLIENT_RECORDS_HPP
#define QSN_CLIENT_RECORDS_HPP

#include <qsn/qsn.h>
#include <qsn/client/library.hpp>
#include <qsn/client/text.hpp>

#include <cstdint>
#include <string>
#include <vector>

namespace qsn {

/* The outcome of a sign-in. Not being signed in is not a failure: loginAddress says where the user can sign in. */
struct SignInState {
    bool signedIn = false;
    std::string loginAddress;  // of the login page, if not signed in
};

struct MenuItem {
    std::string item;
    std::string url;
};

struct UserInfo {
    std::string id;
    std::string name;
    std::string email;
    std::vector<MenuItem> menu;
};

/* One product of either generation's list. What the service did not send is empty or 0. */
struct Product {
    std::string name;
    std::string type;
    std::string displayName;
    std::string version;
    std::string displayVersion;
    std::string versionType;
    std::string displayVersionType;
    std::string sid;
    std::string downloadUrl;
    std::string downloadUrlMd5;
    std::string status;
    std::string fileSize;       // bytes, decimal digits
    std::string patchFileSize;  // the same
    std::string patchDownloadUrl;
    std::string patchDownloadUrlMd5;
    std::string upgradeProducts;
    std::string contentPackWebPageUrl;
    std::string icon;
    std::string tutorialUrl;
    std::string introUrl;
    std::string belongs;  // the product that this one goes with
    std::string publishDate;
    std::string patchInfo;
    std::string whatNewUrl;
    std::string extendFeature;
    std::string thumb1;
    std::string thumb2;
    std::string contentDetail;
    std::string contentDescription;
    std::string demoUrl;
    std::int32_t isChecked = 0;
    std::int32_t isUpgraded = 0;
    std::int32_t isContentPack = 0;
    std::int32_t nonSilentInstallation = 0;
    std::int32_t isThirdPartyPack = 0;
    std::int32_t backgroundMusic = 0;
    std::int32_t soundClips = 0;
    std::int32_t haveX64Build = 0;
    std::int32_t stockVideo = 0;
    std::int32_t stockPhoto = 0;
};

struct Quota {
    std::string resetDate;        // as the service writes it
    std::uint32_t remaining = 0;  // downloads left until then
};

namespace detail {

template <class Value>
struct ProductMember {
    std::int32_t id;
    Value Product::*member;
};

inline constexpr ProductMember<std::string> kProductTexts[] = {
    {QSN_PRODUCT_NAME, &Product::name},
    {QSN_PRODUCT_TYPE, &Product::type},
    {QSN_PRODUCT_DISPLAY_NAME, &Product::displayName},
    {QSN_PRODUCT_VERSION, &Product::version},
    {QSN_PRODUCT_DISPLAY_VERSION, &Product::displayVersion},
    {QSN_PRODUCT_VERSION_TYPE, &Product::versionType},
    {QSN_PRODUCT_DISPLAY_VERSION_TYPE, &Product::displayVersionType},
    {QSN_PRODUCT_SID, &Product::sid},
    {QSN_PRODUCT_DOWNLOAD_URL, &Product::downloadUrl},
    {QSN_PRODUCT_DOWNLOAD_URL_MD5, &Product::downloadUrlMd5},
    {QSN_PRODUCT_STATUS, &Product::status},
    {QSN_PRODUCT_FILE_SIZE, &Product::fileSize},
    {QSN_PRODUCT_PATCH_FILE_SIZE, &Product::patchFileSize},
    {QSN_PRODUCT_PATCH_DOWNLOAD_URL, &Product::patchDownloadUrl},
    {QSN_PRODUCT_PATCH_DOWNLOAD_URL_MD5, &Product::patchDownloadUrlMd5},
    {QSN_PRODUCT_UPGRADE_PRODUCTS, &Product::upgradeProducts},
    {QSN_PRODUCT_CONTENT_PACK_WEB_PAGE_URL, &Product::contentPackWebPageUrl},
    {QSN_PRODUCT_ICON, &Product::icon},
    {QSN_PRODUCT_TUTORIAL_URL, &Product::tutorialUrl},
    {QSN_PRODUCT_INTRO_URL, &Product::introUrl},
    {QSN_PRODUCT_BELONGS, &Product::belongs},
    {QSN_PRODUCT_PUBLISH_DATE, &Product::publishDate},
    {QSN_PRODUCT_PATCH_INFO, &Product::patchInfo},
    {QSN_PRODUCT_WHAT_NEW_URL, &Product::whatNewUrl},
    {QSN_PRODUCT_EXTEND_FEATURE, &Product::extendFeature},
    {QSN_PRODUCT_THUMB1, &Product::thumb1},
    {QSN_PRODUCT_THUMB2, &Product::thumb2},
    {QSN_PRODUCT_CONTENT_DETAIL, &Product::contentDetail},
    {QSN_PRODUCT_CONTENT_DESCRIPTION, &Product::contentDescription},
    {QSN_PRODUCT_DEMO_URL, &Product::demoUrl},
};

inline constexpr ProductMember<std::int32_t> kProductNumbers[] = {
    {QSN_PRODUCT_IS_CHECKED, &Product::isChecked},
    {QSN_PRODUCT_IS_UPGRADED, &Product::isUpgraded},
    {QSN_PRODUCT_IS_CONTENT_PACK, &Product::isContentPack},
    {QSN_PRODUCT_NON_SILENT_INSTALLATION, &Product::nonSilentInstallation},
    {QSN_PRODUCT_IS_THIRD_PARTY_PACK, &Product::isThirdPartyPack},
    {QSN_PRODUCT_BACKGROUND_MUSIC, &Product::backgroundMusic},
    {QSN_PRODUCT_SOUND_CLIPS, &Product::soundClips},
    {QSN_PRODUCT_HAVE_X64_BUILD, &Product::haveX64Build},
    {QSN_PRODUCT_STOCK_VIDEO, &Product::stockVideo},
    {QSN_PRODUCT_STOCK_PHOTO, &Product::stockPhoto},
};

inline std::string TextField(IQSNDataSet& record, std::int32_t id) {
    uint32_t length = 0;
    if (FAILED(record.GetStringLength(id, &length))) return {};
    std::string text(length, '\0');
    // The size includes the terminator, and a std::string has room for it after its text.
    if (FAILED(record.GetString(id, &text[0], length + 1))) return {};
    return text;
}

inline std::int32_t NumberField(IQSNDataSet& record, std::int32_t id) {
    std::int32_t value = 0;
    return SUCCEEDED(record.GetInt(id, &value)) ? value : 0;
}

template <class Record, class Read>
std::vector<Record> ReadList(IQSNList* list, Read read) {
    std::vector<Record> records;
    const uint32_t count = list ? list->GetCount() : 0;
    for (uint32_t index = 0; index < count; ++index) {
        void* element = nullptr;
        if (FAILED(list->GetItem(index, &element))) continue;
        const ComPtr<IQSNDataSet> owner(static_cast<IQSNDataSet*>(element));
        records.push_back(read(*owner));
    }
    return records;
}

inline Product ReadProduct(IQSNDataSet& record) {
    Product product;
    for (const auto& each : kProductTexts) product.*each.member = TextField(record, each.id);
    for (const auto& each : kProductNumbers) product.*each.member = NumberField(record, each.id);
    return product;
}

/* These read each action's callback. `data` is as the library gave it, possibly null. */

inline Result<SignInState> ReadSignIn(int code, void* data) {
    if (code == QSN_CALLBACK_OK) return SignInState{true, {}};
    if (code != QSN_CALLBACK_NOT_SIGNED_IN) return ErrorOf(static_cast<QSN_CALLBACK_RESULT>(code));
    return SignInState{false, data ? static_cast<const char*>(data) : ""};
}

inline Result<void> ReadNothing(int code, void*) { return ErrorOf(static_cast<QSN_CALLBACK_RESULT>(code)); }

inline Result<UserInfo> ReadUser(int code, void* data) {
    if (code != QSN_CALLBACK_OK) return ErrorOf(static_cast<QSN_CALLBACK_RESULT>(code));
    UserInfo user;
    if (!data) return user;
    auto& object = *static_cast<IQSNUserInfo*>(data);
    user.id = TextField(object, QSN_USER_ID);
    user.name = TextField(object, QSN_USER_NAME);
    user.email = TextField(object, QSN_USER_EMAIL);
    IQSNList* list = nullptr;
    if (FAILED(object.GetUserMenu(&list))) return user;
    const ComPtr<IQSNList> menu(list);
    user.menu = ReadList<MenuItem>(list, [](IQSNDataSet& item) {
        return MenuItem{TextField(item, QSN_MENU_ITEM), TextField(item, QSN_MENU_URL)};
    });
    return user;
}

inline Result<std::vector<Product>> ReadProducts(int code, void* data) {
    if (code != QSN_CALLBACK_OK) return ErrorOf(static_cast<QSN_CALLBACK_RESULT>(code));
    return ReadList<Product>(static_cast<IQSNList*>(data), &ReadProduct);
}

inline Result<Quota> ReadQuota(int code, void* data) {
    if (code != QSN_CALLBACK_OK) return ErrorOf(static_cast<QSN_CALLBACK_RESULT>(code));
    if (!data) return Quota();
    const auto& quota = *static_cast<const QSN_GI_QUOTA*>(data);
    return Quota{ToUtf8(quota.resetDate), quota.remainCount};
}

}  // namespace detail
}  // namespace qsn

#endif /* QSN_CLIENT_RECORDS_HPP */
