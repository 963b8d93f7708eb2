#include "sso/ConditionalChanges.h"

#include <string>

#include "Utility/SecretText.h"
#include "sso/SharedValues.h"
#include "sso/SharedValuesLock.h"
#include "sso/TokenStore.h"

namespace qsn {
namespace {

bool Is(const StoreReading<std::string>& shared, std::string_view token) {
    return shared.result == S_OK && shared.value == token;
}
bool Is(const StoreReading<SecretText>& shared, std::string_view token) {
    return shared.result == S_OK && shared.value.Text() == token;
}

}  // namespace

bool DeleteAccessToken(std::string_view token) {
    const SharedValuesLock lock;
    return Is(BriefTokenStore().GetSingleSignOnToken(), token) && DeleteSharedValue("SSO") == ERROR_SUCCESS;
}

bool IsSharedMemberToken(std::string_view token) { return Is(BriefTokenStore().GetMemberToken(), token); }

HRESULT ReplaceMemberToken(std::string_view member, std::string_view refresh, std::string_view renewed) {
    const SharedValuesLock lock;
    BriefTokenStore store;
    if (!Is(store.GetMemberToken(), member) || !Is(store.GetRefreshToken(), refresh)) return kTokensChanged;
    return FromRegistry(store.SetMemberToken(renewed));
}

}  // namespace qsn
