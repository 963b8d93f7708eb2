#pragma once

#include <string>

#include "service/http/HttpReply.h"
#include "service/pages/FaultBoard.h"
#include "service/pages/RequestHistory.h"

namespace qsn::service {

inline constexpr std::string_view kFaultsPath = "/faults";
inline constexpr std::string_view kRequestsPath = "/requests";
inline constexpr std::string_view kScriptPath = "/developer.js";

HttpReply DeveloperPage(const FaultBoard& faults, const RequestHistory& history, const std::string& ticket);
// The part of the page that changes.
std::string RequestList(const RequestHistory& history);
// Keeps that part up to date; without it the page loads itself again.
HttpReply DeveloperScript();

}  // namespace qsn::service
