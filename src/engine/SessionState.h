#pragma once

#include <cstdint>
#include <string>
#include <utility>

#include "Utility/SecretText.h"

namespace qsn {

// What a session knows of its host and of its user.
struct SessionState {
    std::string productSID;
    std::string language;
    std::string extendData;
    std::uint32_t platform = 0;
    bool useTestbed = false;
    bool checkTokenRoutine = false;  // whether the host has switched the token check on

    SecretText accessToken;  // at most 63 characters
    std::string memberId;    // of the access token's user, as user info gave it; empty until it has been read

    // What is known of the user is forgotten with the old token.
    void SetAccessToken(SecretText token) noexcept {
        accessToken = std::move(token);
        memberId.clear();
    }
};

}  // namespace qsn
