#pragma once

#include <windows.h>

#include <oaidl.h>

#include <cstddef>
#include <string>

#include "Utility/Interruption.h"
#include "Utility/Outcome.h"

namespace qsn {

// The device identifier: the MD5 of the machine's UUID as 32 upper-case hexadecimal digits. A failing WMI query is
// returned unchanged. `giveUp`: as below.
Outcome<std::wstring> GetDeviceId(Interruption* giveUp = nullptr);

// The property "UUID" of the first instance of a WMI class in ROOT\CIMV2.
// WBEM_E_NOT_FOUND if the class has no instance, or the instance no such property. E_ABORT if WMI shows none within 10
// s, or if `giveUp`, which may be null, breaks it off.
Outcome<std::wstring> QueryWmiProperty(const wchar_t* className, Interruption* giveUp = nullptr);
// A text as it is, a text array as one text; empty for any other type.
std::wstring WmiPropertyText(const VARIANT& value);

}  // namespace qsn
