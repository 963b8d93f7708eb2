#pragma once

#include <string>

namespace sample {

// Two programs of one suite that share a sign-in: what either does, the other follows within about a second.

// Waits for the other: reports each event, and ends when the other has signed in and out again.
void FollowOthers(const std::wstring& sid);

// Signs in, and out again after a line (or the end) of standard input.
void LeadOthers(const std::wstring& sid, const std::string& token);

}  // namespace sample
