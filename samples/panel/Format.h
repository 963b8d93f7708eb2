#pragma once

#include <string>

namespace sample {

// What the service writes for machines, as people read it in their own language. What is not understood is shown as it
// came.
std::wstring FormatSize(const std::string& bytes);  // decimal digits
std::wstring FormatDate(const std::string& date);   // 20260301

}  // namespace sample
