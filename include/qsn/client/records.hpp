/* What requests bring, copied out of the library's objects. Texts are UTF-8. Part of <qsn/client.hpp>. */
#pragma once

#include <qsn/qsn.h>
#include <qsn/client/library.hpp>
#include <qsn/client/text.hpp>

#include <charconv>
#include <cstdint>
#include <vector>

namespace qsn {

struct Date {
    int year = 0, month = 0, day = 0;  // each from 1

    friend bool operator==(const Date& a, const Date& b) noexcept {
        return a.year == b.year && a.month == b.month && a.day == b.day;
    }
};

/* The outcome of a sign-in. Not being signed in is not a failure. */
struct SignInState {
    bool signedIn = false;
    std::string signInAddress;  // of the page on which the user can, if not signed in
};

struct MenuItem {
    std::string item, url;
};

struct UserInfo {
    std::string id, name, email;
    std::vector<MenuItem> menu;
};

/* One product of either generation's list. What the service did not send is empty, 0 or false. */
struct Product {
    std::string sid, name, type, version, versionType, status;
    std::string displayName, displayVersion, displayVersionType;
    std::string downloadUrl, downloadUrlMd5, patchDownloadUrl, patchDownloadUrlMd5, patchInfo;
    std::uint64_t fileSize = 0, patchFileSize = 0;  // bytes
    std::optional<Date> publishDate;                // if the text beside it is a date
    std::string publishDateText;
    std::string belongs;  // the product that this one goes with
    std::string upgradeProducts, extendFeature, contentDetail, contentDescription;
    std::string icon, thumb1, thumb2, tutorialUrl, introUrl, whatNewUrl, demoUrl, contentPackWebPageUrl;
    bool isChecked = false, isUpgraded = false, isContentPack = false, isThirdPartyPack = false;
    bool nonSilentInstallation = false, haveX64Build = false;
    std::int32_t backgroundMusic = 0, soundClips = 0, stockVideo = 0, stockPhoto = 0;  // how many of them
};

struct Quota {
    std::optional<Date> resetDate;  // if the text beside it is a date
    std::string resetDateText;
    std::uint32_t remaining = 0;  // downloads left until then
};

namespace detail {

// The decimal number that the whole text is, or 0.
template <class Number>
Number NumberIn(const std::string& text) {
    Number number = 0;
    const char* const end = text.data() + text.size();
    const std::from_chars_result read = std::from_chars(text.data(), end, number);
    return read.ec == std::errc() && read.ptr == end ? number : 0;
}

// From "20261231".
inline std::optional<Date> DateIn(const std::string& text) {
    if (text.size() != 8 || text.find_first_not_of("0123456789") != std::string::npos) return std::nullopt;
    const Date date{NumberIn<int>(text.substr(0, 4)), NumberIn<int>(text.substr(4, 2)), NumberIn<int>(text.substr(6))};
    const bool isLeapYear = date.year % 4 == 0 && (date.year % 100 != 0 || date.year % 400 == 0);
    const int days[] = {0, 31, isLeapYear ? 29 : 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    if (date.month < 1 || date.month > 12 || date.day < 1 || date.day > days[date.month]) return std::nullopt;
    return date;
}

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
        records.push_back(read(*Owned(static_cast<IQSNDataSet*>(element))));
    }
    return records;
}

// Calls `visit(id, member)` for each field that the library has of a product, in the order of their ids.
template <class AnyProduct, class Visit>
void VisitFields(AnyProduct& p, const Visit& visit) {
    const auto each = [&](std::int32_t first, auto&... members) { (visit(first++, members), ...); };
    each(QSN_PRODUCT_NAME, p.name, p.type, p.displayName, p.version, p.displayVersion, p.versionType,
         p.displayVersionType, p.sid, p.downloadUrl, p.downloadUrlMd5, p.status);
    each(QSN_PRODUCT_IS_CHECKED, p.isChecked, p.isUpgraded);
    each(QSN_PRODUCT_FILE_SIZE, p.fileSize, p.patchFileSize, p.patchDownloadUrl, p.patchDownloadUrlMd5);
    each(QSN_PRODUCT_UPGRADE_PRODUCTS, p.upgradeProducts, p.contentPackWebPageUrl, p.isContentPack,
         p.nonSilentInstallation, p.icon, p.tutorialUrl, p.introUrl, p.belongs, p.publishDateText, p.isThirdPartyPack,
         p.patchInfo, p.whatNewUrl, p.backgroundMusic, p.soundClips, p.haveX64Build, p.stockVideo, p.stockPhoto,
         p.extendFeature, p.thumb1, p.thumb2, p.contentDetail, p.contentDescription, p.demoUrl);
}
inline Product ReadProduct(IQSNDataSet& record) {
    Product product;
    VisitFields(product, [&](std::int32_t id, auto& member) {
        using Member = std::decay_t<decltype(member)>;
        if constexpr (std::is_same_v<Member, std::string>) {
            member = TextField(record, id);
        } else if constexpr (std::is_same_v<Member, std::uint64_t>) {
            member = NumberIn<Member>(TextField(record, id));
        } else {
            member = static_cast<Member>(NumberField(record, id));
        }
    });
    product.publishDate = DateIn(product.publishDateText);
    return product;
}

// These read what a request has brought. `data` is as the library gave it, perhaps null.
inline Result<void> ReadNothing(const std::error_code& error, void*) { return error; }
inline Result<std::string> ReadText(const std::error_code& error, void* data) {
    if (error) return error;
    return std::string(data ? static_cast<const char*>(data) : "");
}
inline Result<SignInState> ReadSignIn(const std::error_code& error, void* data) {
    if (!error) return SignInState{true, {}};
    if (error != ErrorOf(QSN_CALLBACK_NOT_SIGNED_IN)) return error;
    return SignInState{false, data ? static_cast<const char*>(data) : ""};
}
inline Result<UserInfo> ReadUser(const std::error_code& error, void* data) {
    if (error) return error;
    UserInfo user;
    if (!data) return user;
    auto& object = *static_cast<IQSNUserInfo*>(data);
    user.id = TextField(object, QSN_USER_ID);
    user.name = TextField(object, QSN_USER_NAME);
    user.email = TextField(object, QSN_USER_EMAIL);
    IQSNList* menu = nullptr;
    if (FAILED(object.GetUserMenu(&menu))) return user;
    user.menu = ReadList<MenuItem>(Owned(menu).get(), [](IQSNDataSet& item) {
        return MenuItem{TextField(item, QSN_MENU_ITEM), TextField(item, QSN_MENU_URL)};
    });
    return user;
}
inline Result<std::vector<Product>> ReadProducts(const std::error_code& error, void* data) {
    if (error) return error;
    return ReadList<Product>(static_cast<IQSNList*>(data), &ReadProduct);
}
inline Result<Quota> ReadQuota(const std::error_code& error, void* data) {
    if (error) return error;
    if (!data) return Quota();
    const auto& quota = *static_cast<const QSN_GI_QUOTA*>(data);
    const std::string text = ToUtf8(quota.resetDate);
    return Quota{DateIn(text), text, quota.remainCount};
}

}  // namespace detail
}  // namespace qsn
