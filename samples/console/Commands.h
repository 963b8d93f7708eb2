#pragma once

#include <stdexcept>

#include "Settings.h"

namespace sample {

// A failure that one sentence explains to the user.
struct Failure : std::runtime_error {
    using runtime_error::runtime_error;
};

// Nobody is signed in.
struct NotSignedIn : Failure {
    using Failure::Failure;
};

// One function for each command. Each opens a client and writes its answer to the standard output. It throws Failure or
// std::system_error if there is none.
void SignIn(const Settings& settings);
void SignOut(const Settings& settings);
void ShowUser(const Settings& settings);
void ShowProducts(const Settings& settings);
void ShowQuota(const Settings& settings);
// Runs until a line, or the end, of the standard input.
void Watch(const Settings& settings);

}  // namespace sample
