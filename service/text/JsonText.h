#pragma once

#include <json/value.h>

#include <string>

namespace qsn::service {

// Null unless the text is a JSON object.
Json::Value ParseObject(const std::string& text);
// UTF-8 as it is. Compact, or in lines that start with one `indentation` for each level.
std::string WriteJson(const Json::Value& value, const char* indentation = "");
// A member's text; empty if `object` is not an object or has no such text.
std::string TextOf(const Json::Value& object, const char* member);

}  // namespace qsn::service
