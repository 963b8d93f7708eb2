#pragma once

#include <windows.h>

#include <string_view>

namespace qsn {

// Changes that are made only while the shared tokens are what the caller knows, so that no sign-in or sign-out is
// undone by what was decided before it. A token that cannot be read counts as another one. The library's own watcher
// hears of these changes as of anybody's.

inline constexpr HRESULT kTokensChanged = static_cast<HRESULT>(0x8000000C);  // E_CHANGED_STATE, which some SDKs lack

// Deletes the shared access token if it is `token`; true if that was done.
bool DeleteAccessToken(std::string_view token);

bool IsSharedMemberToken(std::string_view token);

// Shares `renewed` in place of `member` if that and `refresh` are shared; else kTokensChanged.
HRESULT ReplaceMemberToken(std::string_view member, std::string_view refresh, std::string_view renewed);

}  // namespace qsn
