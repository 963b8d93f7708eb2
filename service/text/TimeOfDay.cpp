#include "service/text/TimeOfDay.h"

#include <windows.h>

#include <cstdio>

namespace qsn::service {

std::string TimeOfDay() {
    SYSTEMTIME now;
    GetLocalTime(&now);
    char text[16];
    std::snprintf(text, sizeof text, "%02d:%02d:%02d", now.wHour, now.wMinute, now.wSecond);
    return text;
}

}  // namespace qsn::service
