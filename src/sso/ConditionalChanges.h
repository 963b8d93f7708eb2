#pragma once

#include <windows.h>

#include <string_view>

namespace qsn {

// Changes that are made only if the shared tokens are still those that the caller knows, so that an earlier decision
// does not undo a sign-in or sign-out. A token that cannot be read counts as another one. To the library's own watcher
// these changes are like those of another application.

inline constexpr HRESULT kTokensChanged = static_cast<HRESULT>(0x8000000C);  // E_CHANGED_STATE, which some SDKs lack

// Deletes the shared access token if it is `token`. True if it did.
bool DeleteAccessToken(std::string_view token);

bool IsSharedMemberToken(std::string_view token);

// Shares `renewed` in place of `member` if `member` and `refresh` are the shared ones; else kTokensChanged.
HRESULT ReplaceMemberToken(std::string_view member, std::string_view refresh, std::string_view renewed);

}  // namespace qsn
