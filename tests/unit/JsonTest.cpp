#include "Utility/Json.h"

#include <gtest/gtest.h>

namespace qsn::test {
namespace {

Json::Value Parsed(std::string_view text) {
    Json::Value root;
    EXPECT_TRUE(ParseJson(text, &root)) << text;
    return root;
}

TEST(Json, RefusesWhatIsNoJsonWithoutThrowing) {
    Json::Value root;
    for (const std::string& text : {std::string(), std::string("{"), std::string("{\"a\":}"), std::string("<html>"),
                                    std::string(2000, '['), "{\"a\":" + std::string(2000, '{')})
        EXPECT_FALSE(ParseJson(text, &root)) << text.substr(0, 10);
}

TEST(Json, ReadsOnlyItsText) { EXPECT_EQ(1, JsonInt(Parsed(std::string_view("{\"a\":1}garbage").substr(0, 7)), "a")); }

TEST(Json, WritesCompactTextInMemberOrder) {
    Json::Value root;
    root["b"] = 1;
    root["B"] = "\xC3\xA4\"/";
    root["a"]["list"].append(Json::nullValue);
    std::string text;
    ASSERT_TRUE(WriteJson(root, &text));
    EXPECT_EQ("{\"B\":\"\\u00e4\\\"/\",\"a\":{\"list\":[null]},\"b\":1}\n", text);
}

TEST(Json, MembersOfAnyTypeReadAsTextOrNumberOrAsMissing) {
    const struct {
        const char* value;
        const char* text;
        int number;
    } cases[] = {{"\"text\"", "text", 0},
                 {"\"7\"", "7", 0},
                 {"7", "7", 7},
                 {"-2147483648", "-2147483648", -2147483647 - 1},
                 {"2147483648", "2147483648", 0},
                 {"99999999999999999999", "1e+20", 0},
                 {"7.9", "7.9000000000000004", 7},
                 {"1e300", "1.0000000000000001e+300", 0},
                 {"true", "true", 1},
                 {"null", "", 0},
                 {"[1]", "", 0},
                 {"{\"a\":1}", "", 0}};
    for (const auto& c : cases) {
        const Json::Value root = Parsed(std::string("{\"m\":") + c.value + "}");
        EXPECT_EQ(c.text, JsonText(root, "m")) << c.value;
        EXPECT_EQ(c.number, JsonInt(root, "m")) << c.value;
        EXPECT_EQ("", JsonText(root, "M"));
        EXPECT_EQ(0, JsonInt(root, "M"));
    }
}

}  // namespace
}  // namespace qsn::test
