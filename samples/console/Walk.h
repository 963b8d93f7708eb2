#pragma once

#include "Settings.h"

namespace sample {

// One session from beginning to end, step by step, with every answer checked. Throws where a step did not give what it
// should.
void WalkThroughSession(const Settings& settings);

// How the library looks after tokens: a member token that is about to end is renewed on the way to a product list, and
// a token that the service no longer accepts is noticed in the background.
void WalkThroughTokenCare(const Settings& settings);

}  // namespace sample
