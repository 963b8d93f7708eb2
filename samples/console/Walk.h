#pragma once

#include "Settings.h"

namespace sample {

// One session from beginning to end, step by step, with every answer checked. Throws if a step does not give what it
// should.
void WalkThroughSession(const Settings& settings);

// How the library looks after tokens. It renews a member token that is about to expire before it fetches a product
// list, and it notices in the background when the service no longer accepts a token.
void WalkThroughTokenCare(const Settings& settings);

}  // namespace sample
