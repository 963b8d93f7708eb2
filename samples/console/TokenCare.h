#pragma once

#include <string>

namespace sample {

// Shows how the library looks after tokens: a member token that is about to end is renewed on the way to a product
// list, and a token that the service no longer accepts is noticed in the background. Throws where a step did not give
// what it should.
void ShowTokenCare(const std::wstring& sid, const std::string& endingMemberToken);

}  // namespace sample
