#pragma once

#include <algorithm>
#include <array>
#include <string_view>

namespace qsn::service {

struct ProductMember {
    std::string_view name;
    bool isNumber = false;
};

// What a product of either list may carry; sizes are texts.
inline constexpr std::array kProductMembers{ProductMember{"productName"},
                                            ProductMember{"displayProductName"},
                                            ProductMember{"productType"},
                                            ProductMember{"version"},
                                            ProductMember{"displayVersion"},
                                            ProductMember{"versionType"},
                                            ProductMember{"displayVersionType"},
                                            ProductMember{"sid"},
                                            ProductMember{"downloadURL"},
                                            ProductMember{"downloadURLMD5"},
                                            ProductMember{"productStatus"},
                                            ProductMember{"isChecked", true},
                                            ProductMember{"isUpgraded", true},
                                            ProductMember{"isContentPack", true},
                                            ProductMember{"nonSilentInstallation", true},
                                            ProductMember{"FileSize"},
                                            ProductMember{"patchFileSize"},
                                            ProductMember{"patchDownloadURL"},
                                            ProductMember{"patchDownloadURLMD5"},
                                            ProductMember{"upgradeProducts"},
                                            ProductMember{"contentPackWebPageURL"},
                                            ProductMember{"icon"},
                                            ProductMember{"tutorialURL"},
                                            ProductMember{"introURL"},
                                            ProductMember{"productBelongs"},
                                            ProductMember{"publishDate"},
                                            ProductMember{"extendFeature"},
                                            ProductMember{"isThirdPartyPack", true},
                                            ProductMember{"patchInfo"},
                                            ProductMember{"whatNewUrl"},
                                            ProductMember{"backgroundMusic", true},
                                            ProductMember{"soundClips", true},
                                            ProductMember{"haveX64Build", true},
                                            ProductMember{"stockVideo", true},
                                            ProductMember{"stockPhoto", true},
                                            ProductMember{"thumb1"},
                                            ProductMember{"thumb2"},
                                            ProductMember{"contentDetail"},
                                            ProductMember{"contentDescription"},
                                            ProductMember{"demoUrl"}};

inline const ProductMember* FindProductMember(std::string_view name) {
    const auto found = std::find_if(kProductMembers.begin(), kProductMembers.end(),
                                    [&](const ProductMember& member) { return member.name == name; });
    return found == kProductMembers.end() ? nullptr : &*found;
}

}  // namespace qsn::service
