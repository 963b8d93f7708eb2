#pragma once

#include <qsn/qsn.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <ranges>

namespace qsn {

enum class ProductFieldKind : std::uint8_t {
    kText,
    kInteger,
    kUntypedInteger,  // a number that GetFieldType does not know: hosts rely on that
};

struct ProductField {
    std::int32_t id;
    const char* member;  // of a product in the service's reply; null: reserved
    ProductFieldKind kind = ProductFieldKind::kText;
};

inline constexpr std::array kProductFields{
    ProductField{QSN_PRODUCT_NAME, "productName"},
    ProductField{QSN_PRODUCT_TYPE, "productType"},
    ProductField{QSN_PRODUCT_DISPLAY_NAME, "displayProductName"},
    ProductField{QSN_PRODUCT_VERSION, "version"},
    ProductField{QSN_PRODUCT_DISPLAY_VERSION, "displayVersion"},
    ProductField{QSN_PRODUCT_VERSION_TYPE, "versionType"},
    ProductField{QSN_PRODUCT_DISPLAY_VERSION_TYPE, "displayVersionType"},
    ProductField{QSN_PRODUCT_SID, "sid"},
    ProductField{QSN_PRODUCT_DOWNLOAD_URL, "downloadURL"},
    ProductField{QSN_PRODUCT_DOWNLOAD_URL_MD5, "downloadURLMD5"},
    ProductField{QSN_PRODUCT_STATUS, "productStatus"},
    ProductField{QSN_PRODUCT_RESERVED_12, nullptr},
    ProductField{QSN_PRODUCT_IS_CHECKED, "isChecked", ProductFieldKind::kInteger},
    ProductField{QSN_PRODUCT_IS_UPGRADED, "isUpgraded", ProductFieldKind::kInteger},
    ProductField{QSN_PRODUCT_RESERVED_15, nullptr},
    ProductField{QSN_PRODUCT_RESERVED_16, nullptr},
    ProductField{QSN_PRODUCT_RESERVED_17, nullptr},
    ProductField{QSN_PRODUCT_FILE_SIZE, "FileSize"},
    ProductField{QSN_PRODUCT_PATCH_FILE_SIZE, "patchFileSize"},
    ProductField{QSN_PRODUCT_PATCH_DOWNLOAD_URL, "patchDownloadURL"},
    ProductField{QSN_PRODUCT_PATCH_DOWNLOAD_URL_MD5, "patchDownloadURLMD5"},
    ProductField{QSN_PRODUCT_RESERVED_22, nullptr},
    ProductField{QSN_PRODUCT_UPGRADE_PRODUCTS, "upgradeProducts"},
    ProductField{QSN_PRODUCT_CONTENT_PACK_WEB_PAGE_URL, "contentPackWebPageURL"},
    ProductField{QSN_PRODUCT_IS_CONTENT_PACK, "isContentPack", ProductFieldKind::kInteger},
    ProductField{QSN_PRODUCT_NON_SILENT_INSTALLATION, "nonSilentInstallation", ProductFieldKind::kInteger},
    ProductField{QSN_PRODUCT_ICON, "icon"},
    ProductField{QSN_PRODUCT_TUTORIAL_URL, "tutorialURL"},
    ProductField{QSN_PRODUCT_INTRO_URL, "introURL"},
    ProductField{QSN_PRODUCT_BELONGS, "productBelongs"},
    ProductField{QSN_PRODUCT_PUBLISH_DATE, "publishDate"},
    ProductField{QSN_PRODUCT_IS_THIRD_PARTY_PACK, "isThirdPartyPack", ProductFieldKind::kInteger},
    ProductField{QSN_PRODUCT_PATCH_INFO, "patchInfo"},
    ProductField{QSN_PRODUCT_WHAT_NEW_URL, "whatNewUrl"},
    ProductField{QSN_PRODUCT_BACKGROUND_MUSIC, "backgroundMusic", ProductFieldKind::kInteger},
    ProductField{QSN_PRODUCT_SOUND_CLIPS, "soundClips", ProductFieldKind::kInteger},
    ProductField{QSN_PRODUCT_HAVE_X64_BUILD, "haveX64Build", ProductFieldKind::kInteger},
    ProductField{QSN_PRODUCT_STOCK_VIDEO, "stockVideo", ProductFieldKind::kUntypedInteger},
    ProductField{QSN_PRODUCT_STOCK_PHOTO, "stockPhoto", ProductFieldKind::kUntypedInteger},
    ProductField{QSN_PRODUCT_EXTEND_FEATURE, "extendFeature"},
    ProductField{QSN_PRODUCT_THUMB1, "thumb1"},
    ProductField{QSN_PRODUCT_THUMB2, "thumb2"},
    ProductField{QSN_PRODUCT_CONTENT_DETAIL, "contentDetail"},
    ProductField{QSN_PRODUCT_CONTENT_DESCRIPTION, "contentDescription"},
    ProductField{QSN_PRODUCT_DEMO_URL, "demoUrl"},
};

// Row n stands for id n + 1, so that finding a field is one subtraction.
static_assert(std::ranges::all_of(kProductFields, [](const ProductField& field) {
    return field.id == &field - kProductFields.data() + 1;
}));

// Null if there is no such field.
constexpr const ProductField* FindProductField(std::int32_t id) {
    const bool known = id >= 1 && static_cast<std::size_t>(id) <= kProductFields.size();
    return known ? &kProductFields[static_cast<std::size_t>(id) - 1] : nullptr;
}

}  // namespace qsn
