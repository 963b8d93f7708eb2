#include "sso/ConditionalChanges.h"

#include <string>

#include "Utility/RegistryResult.h"
#include "Utility/SecretText.h"
#include "sso/CheckSingleSignOn.h"
#include "sso/SharedValues.h"
#include "sso/SharedValuesLock.h"

namespace qsn {
namespace {

bool HoldsAccessToken(CheckSingleSignOn& store, std::string_view token) {
    SecretText shared;
    StoreStatus status = StoreStatus::kUnknown;
    return store.GetSingleSignOnToken(&shared, &status) == S_OK && shared.Text() == token;
}

bool HoldsMemberToken(CheckSingleSignOn& store, std::string_view token) {
    std::string shared;
    StoreStatus status = StoreStatus::kUnknown;
    return store.GetMemberToken(&shared, &status) == S_OK && shared == token;
}

bool HoldsRefreshToken(CheckSingleSignOn& store, std::string_view token) {
    SecretText shared;
    StoreStatus status = StoreStatus::kUnknown;
    return store.GetRefreshToken(&shared, &status) == S_OK && shared.Text() == token;
}

}  // namespace

bool DeleteAccessToken(std::string_view token) {
    const SharedValuesLock lock;
    CheckSingleSignOn store;
    return HoldsAccessToken(store, token) && DeleteSharedValue("SSO") == ERROR_SUCCESS;
}

bool IsSharedMemberToken(std::string_view token) {
    CheckSingleSignOn store;
    return HoldsMemberToken(store, token);
}

HRESULT ReplaceMemberToken(std::string_view member, std::string_view refresh, std::string_view renewed) {
    const SharedValuesLock lock;
    CheckSingleSignOn store;
    if (!HoldsMemberToken(store, member) || !HoldsRefreshToken(store, refresh)) return kTokensChanged;
    return FromRegistry(store.SetMemberToken(renewed));
}

}  // namespace qsn
