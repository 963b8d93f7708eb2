#include "Utility/DeviceIdentity.h"

#include <gtest/gtest.h>
#include <objbase.h>

#include <string>
#include <thread>

#include "Utility/AutomationOwners.h"
#include "Utility/Md5.h"

namespace qsn::test {
namespace {

TEST(DeviceIdentity, IsTheUpperCaseMd5OfTheUuid) {
    DeviceText identifier = {}, uuid = {};
    ASSERT_EQ(S_OK, GetDeviceId(identifier, &uuid));
    std::string narrow, expected;
    for (const wchar_t c : std::wstring(uuid)) narrow += static_cast<char>(c);
    for (const char c : MD5HexOfString(narrow)) expected += static_cast<char>(std::toupper(c));
    EXPECT_EQ(36u, narrow.size()) << narrow;
    EXPECT_EQ(std::wstring(expected.begin(), expected.end()), identifier);
}

TEST(DeviceIdentity, AFailingQueryLeavesTheOutput) {
    DeviceText value = L"untouched";
    EXPECT_EQ(static_cast<HRESULT>(0x80041002), QueryWmiProperty(L"Win32_OperatingSystem", &value)) << "has no UUID";
    // Windows and Wine give different codes.
    EXPECT_TRUE(FAILED(QueryWmiProperty(L"Win32_NoSuchClass", &value)));
    EXPECT_STREQ(L"untouched", value);
    EXPECT_EQ(E_INVALIDARG, QueryWmiProperty(L"Win32_ComputerSystemProduct", nullptr));
}

TEST(DeviceIdentity, LeavesTheThreadsApartmentAsItWas) {
    const auto QueryInFreshThread = [](bool inApartment) {
        HRESULT result = E_FAIL, leave = E_FAIL;
        std::thread([&] {
            if (inApartment) CoInitializeEx(nullptr, COINIT_MULTITHREADED);
            DeviceText value = {};
            result = QueryWmiProperty(L"Win32_ComputerSystemProduct", &value);
            // S_FALSE: the thread was in this apartment already.
            leave = CoInitializeEx(nullptr, COINIT_MULTITHREADED);
            CoUninitialize();
            if (inApartment) CoUninitialize();
        }).join();
        EXPECT_EQ(S_OK, result);
        return leave;
    };
    EXPECT_EQ(S_OK, QueryInFreshThread(false));
    EXPECT_EQ(S_FALSE, QueryInFreshThread(true));
}

TEST(DeviceIdentity, ReadsPropertiesByType) {
    VARIANT value;
    VariantInit(&value);
    value.vt = VT_I4;
    EXPECT_EQ(L"", WmiPropertyText(value));
    value.vt = VT_BSTR;
    value.bstrVal = nullptr;
    EXPECT_EQ(L"", WmiPropertyText(value));
    const UniqueBstr first(SysAllocString(L"one")), second(SysAllocString(L"two"));
    value.bstrVal = first.get();
    EXPECT_EQ(L"one", WmiPropertyText(value));

    value.vt = VT_ARRAY | VT_BSTR;
    value.parray = SafeArrayCreateVector(VT_BSTR, 0, 3);
    LONG index = 0;
    SafeArrayPutElement(value.parray, &index, first.get());
    index = 2;
    SafeArrayPutElement(value.parray, &index, second.get());
    EXPECT_EQ(L"onetwo", WmiPropertyText(value));
    VariantClear(&value);
}

}  // namespace
}  // namespace qsn::test
