#pragma once

#include <string>

namespace sample {

// What the service writes for machines, in the form that people read in their own language. Other texts are left as
// they are.
std::wstring FormatSize(const std::string& bytes);  // decimal digits
std::wstring FormatDate(const std::string& date);   // 20260301

}  // namespace sample
