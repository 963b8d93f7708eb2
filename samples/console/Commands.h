#pragma once

#include <stdexcept>

#include "Settings.h"

namespace sample {

// Something that the user can understand from one sentence.
struct Failure : std::runtime_error {
    using runtime_error::runtime_error;
};

// Nobody is signed in.
struct NotSignedIn : Failure {
    using Failure::Failure;
};

// One function a command. Each opens a client, writes its answer to the standard output, and throws Failure or
// std::system_error where there is none.
void LogIn(const Settings& settings);
void LogOut(const Settings& settings);
void ShowUser(const Settings& settings);
void ShowProducts(const Settings& settings);
void ShowQuota(const Settings& settings);
// Until a line, or the end, of the standard input.
void Watch(const Settings& settings);

}  // namespace sample
