#pragma once

#include <windows.h>

namespace qsn {

// What another application of the suite did to the shared tokens.
enum class SSOEvent : int {
    kTokenSet = 1,
    kTokenClear = 2,
    kMemberTokenSet = 3,
    kMemberTokenClear = 4,
    kRefreshTokenSet = 5,
    kRefreshTokenClear = 6
};

// Called by the token store's watcher thread, under the store lock. An implementation may use that store, but must not
// wait for another thread that uses it or for the watcher itself.
class SSOCallback {
public:
    // `id`: an SSOEvent. `data`: the new member or refresh token, else null; valid during the call. A failure asks to
    // be told again at the next look.
    virtual HRESULT SSOCallbackEvent(int id, const char* data) = 0;

protected:
    ~SSOCallback() = default;
};

}  // namespace qsn
