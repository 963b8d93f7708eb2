#include "Utility/DeviceIdentity.h"

#include <gtest/gtest.h>
#include <objbase.h>

#include <thread>

#include "Utility/AutomationOwners.h"
#include "Utility/Md5.h"

namespace qsn::test {
namespace {

TEST(DeviceIdentity, IsTheUpperCaseMd5OfTheUuid) {
    const std::wstring wide = QueryWmiProperty(L"Win32_ComputerSystemProduct").value;
    EXPECT_EQ(36u, wide.size());
    std::string expected = MD5HexOfString(std::string(wide.begin(), wide.end()));
    for (char& c : expected) c = static_cast<char>(std::toupper(c));
    EXPECT_EQ(std::wstring(expected.begin(), expected.end()), GetDeviceId().value);

    EXPECT_EQ(static_cast<HRESULT>(0x80041002), QueryWmiProperty(L"Win32_OperatingSystem").result) << "has no UUID";
    // Windows and Wine give different codes.
    EXPECT_TRUE(FAILED(QueryWmiProperty(L"Win32_NoSuchClass").result));
}

TEST(DeviceIdentity, LeavesTheThreadsApartmentAsItWas) {
    for (const HRESULT expected : {S_OK, S_FALSE}) {
        std::thread([expected] {
            // S_FALSE: the thread is in this apartment already.
            const bool inApartment = expected == S_FALSE;
            if (inApartment) CoInitializeEx(nullptr, COINIT_MULTITHREADED);
            EXPECT_EQ(S_OK, QueryWmiProperty(L"Win32_ComputerSystemProduct").result);
            EXPECT_EQ(expected, CoInitializeEx(nullptr, COINIT_MULTITHREADED));
            CoUninitialize();
            if (inApartment) CoUninitialize();
        }).join();
    }
}

TEST(DeviceIdentity, ReadsPropertiesByType) {
    const UniqueBstr text(SysAllocString(L"one"));
    VARIANT value = {};
    for (const auto& [type, bytes, expected] :
         {std::tuple(VT_I4, text.get(), L""), {VT_BSTR, text.get(), L"one"}, {VT_BSTR, nullptr, L""}}) {
        value.vt = static_cast<VARTYPE>(type);
        value.bstrVal = bytes;
        EXPECT_EQ(expected, WmiPropertyText(value));
    }
    value.vt = VT_ARRAY | VT_BSTR;
    value.parray = SafeArrayCreateVector(VT_BSTR, 0, 3);
    for (LONG index : {0, 2}) SafeArrayPutElement(value.parray, &index, text.get());
    EXPECT_EQ(L"oneone", WmiPropertyText(value));
    VariantClear(&value);
}

}  // namespace
}  // namespace qsn::test
