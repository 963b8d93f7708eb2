#include <gmock/gmock.h>

#include <set>

#include "support/ClientFixture.h"

namespace {

using namespace std::chrono_literals;
using namespace qsn::test;
using namespace testing;
using qsn::Result;

TEST(ClientErrors, EachCodeHasANameOfItsOwn) {
    std::set<std::string> names;
    const auto expectText = [&](const std::error_code& code) {
        const auto* const text = qsn::FindCodeText(code);
        EXPECT_TRUE(text && names.insert(text->name).second && code.message().starts_with(text->name)) << code;
    };
    for (const HRESULT hr : {E_NOTIMPL, E_NOINTERFACE, E_POINTER, E_FAIL, E_UNEXPECTED, E_OUTOFMEMORY, E_INVALIDARG})
        expectText(qsn::ErrorOf(hr));
    for (const int code : {2, 4, 5, 6}) expectText(qsn::ErrorOf(static_cast<HRESULT>(0x86210000 + code)));
    for (const int code : {1, 2, 3, 4, 5, 8, 9, 10, 11, 101, 102, 103, 104, 105, 106, 107})
        expectText(qsn::ErrorOf(static_cast<QSN_CALLBACK_RESULT>(code)));
    for (const int code : {2, 7, 29, 30, 37, 38, 45, 152, 157, 163, 170}) expectText(Network(12000 + code));
    EXPECT_NE(qsn::ErrorOf(static_cast<QSN_CALLBACK_RESULT>(99)).message().find("0x00000063"), std::string::npos);
}

TEST(ClientResults, LeadOnToOthers) {
    const auto half = [](int value) -> Result<int> { return value % 2 == 0 ? Result<int>(value / 2) : kInvalid; };
    const auto text = [](int value) { return std::to_string(value); };
    int seen = 0;
    const auto see = [&](int value) { seen = value; };
    const Result<int> eight = 8, nothing = kCancelled;
    EXPECT_EQ(*eight.and_then(half).and_then(half).transform(text), "2");
    EXPECT_TRUE(eight.transform(see).and_then([]() -> Result<void> { return {}; }));
    EXPECT_EQ(seen, 8);
    EXPECT_EQ(Result<int>(3).and_then(half).transform(text).Error(), kInvalid);
    EXPECT_EQ(nothing.transform(see).Error(), kCancelled);
    EXPECT_EQ(eight.value_or(1) + nothing.value_or(1), 9);
    EXPECT_EQ(*Result(std::make_unique<int>(5)).transform([](std::unique_ptr<int> moved) { return *moved; }), 5);
    EXPECT_THROW(nothing.Value(), std::system_error);
}

TEST(ClientTexts, GoBetweenUtf8AndUtf16) {
    EXPECT_EQ(qsn::ToWide("Beno\xc3\xaet \xf0\x9f\x8c\xbf"), L"Beno\u00eet \U0001F33F");
    EXPECT_EQ(qsn::ToUtf8(L"Beno\u00eet \U0001F33F"), "Beno\xc3\xaet \xf0\x9f\x8c\xbf");
    EXPECT_EQ(qsn::ToWide(std::string("a\0b", 3)).size(), 3u);
    EXPECT_EQ(qsn::ToUtf8(L"") + qsn::ToUtf8(qsn::ToWide("\xff")), "\xef\xbf\xbd");
}

}  // namespace
