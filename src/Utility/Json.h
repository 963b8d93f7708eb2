#pragma once

#include <json/value.h>

#include <optional>
#include <string>
#include <string_view>

#include "Utility/Outcome.h"

namespace qsn {

// The one place that talks to jsoncpp's reader and writer. Nothing that they throw leaves these functions, except if
// memory runs out while reading: a text that could not be read must not pass for one that is not JSON.
std::optional<Json::Value> ParseJson(std::string_view text);
// Compact, members in ascending byte order, one line feed at the end. E_OUTOFMEMORY if memory ran out.
Outcome<std::string> WriteJson(const Json::Value& root);

// jsoncpp's conversions without its exceptions. A member of a wrong type reads like a missing one, and so does a member
// of a value that is not an object.
std::string JsonText(const Json::Value& object, const char* member);
int JsonInt(const Json::Value& object, const char* member);
const Json::Value& JsonMember(const Json::Value& object, const char* member);

// The same conversions of a value by itself. A text is not copied: its view lies in `value`. That of anything else lies
// in `converted`.
std::string_view JsonTextOf(const Json::Value& value, std::string* converted);
int JsonIntOf(const Json::Value& value);
// JsonMember out of an object that is no longer needed: a large member is not copied.
Json::Value TakeJsonMember(Json::Value& object, const char* member);

}  // namespace qsn
