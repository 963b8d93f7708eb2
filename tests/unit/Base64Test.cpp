#include "Utility/Base64.h"

#include <gtest/gtest.h>

#include <string>

namespace qsn::test {
namespace {

std::vector<std::uint8_t> Bytes(std::string_view text) { return {text.begin(), text.end()}; }

// RFC 4648, section 10.
constexpr struct {
    const char* plain;
    const char* encoded;
} kVectors[] = {{"f", "Zg=="},        {"fo", "Zm8="},        {"foo", "Zm9v"},
                {"foob", "Zm9vYg=="}, {"fooba", "Zm9vYmE="}, {"foobar", "Zm9vYmFy"}};

std::string EncodeLines(const std::vector<std::uint8_t>& bytes) {
    char text[1024];
    std::uint32_t length = sizeof(text);
    EXPECT_EQ(1, Base64EncodeLines(bytes, text, &length));
    return {text, length};
}

std::string DecodeLines(std::string_view text) {
    std::uint8_t bytes[1024];
    std::uint32_t length = sizeof(bytes);
    EXPECT_EQ(1, Base64DecodeLines(text, bytes, &length));
    return {bytes, bytes + length};
}

TEST(Base64, VectorsInLinesAndOnASingleLine) {
    EXPECT_EQ("", EncodeLines({}));
    for (const auto& v : kVectors) {
        EXPECT_EQ(v.encoded, EncodeLines(Bytes(v.plain)));
        EXPECT_EQ(v.plain, DecodeLines(v.encoded));
        std::string encoded;
        std::vector<std::uint8_t> decoded;
        EXPECT_EQ(S_OK, Base64Encode(Bytes(v.plain), &encoded));
        EXPECT_EQ(v.encoded, encoded);
        EXPECT_EQ(S_OK, Base64Decode(v.encoded, &decoded));
        EXPECT_EQ(Bytes(v.plain), decoded);
    }
    std::string encoded;
    EXPECT_EQ(S_OK, Base64Encode(std::vector<std::uint8_t>(300), &encoded));
    EXPECT_EQ(std::string(400, 'A'), encoded);
}

TEST(Base64Lines, BreaksBetweenLinesOnly) {
    const std::string line(76, 'A');
    EXPECT_EQ(line, EncodeLines(std::vector<std::uint8_t>(57)));
    EXPECT_EQ(line + "\r\nAA==", EncodeLines(std::vector<std::uint8_t>(58)));
    EXPECT_EQ(line + "\r\n" + line, EncodeLines(std::vector<std::uint8_t>(114)));
    EXPECT_EQ(std::string(115, '\0'), DecodeLines(line + "\r\n" + line + "\r\nAA=="));
}

TEST(Base64Lines, NeedsExactlyTheTextsLength) {
    const std::vector<std::uint8_t> bytes(58);
    char text[82];
    text[0] = '#';
    std::uint32_t capacity = 81;
    EXPECT_EQ(0, Base64EncodeLines(bytes, text, &capacity));
    EXPECT_EQ('#', text[0]);
    capacity = 82;
    EXPECT_EQ(0, Base64EncodeLines(bytes, nullptr, &capacity));
    EXPECT_EQ(1, Base64EncodeLines(bytes, text, &capacity));
    EXPECT_EQ(82u, capacity);
}

TEST(Base64Lines, DecodingSkipsWhatIsNoDigitAndEndsAtNul) {
    EXPECT_EQ("foobar", DecodeLines("Z=m9-v\r\nYm Fy\xFF"));
    EXPECT_EQ("foo", DecodeLines(std::string_view("Zm9v\0YmFy", 9)));
    EXPECT_EQ("foo", DecodeLines("Zm9vY")) << "six bits are no byte";
}

TEST(Base64Lines, DecodingReportsTheLengthThatDoesNotFit) {
    std::uint8_t bytes[6] = {0, 0, 0, 0, 0, '#'};
    std::uint32_t length = 5;
    EXPECT_EQ(0, Base64DecodeLines("Zm9vYmFy", bytes, &length));
    EXPECT_EQ(6u, length);
    EXPECT_EQ('#', bytes[5]);
    EXPECT_EQ(0, Base64DecodeLines("Zm9vYmFy", nullptr, &length));
    EXPECT_EQ(1, Base64DecodeLines("Zm9vYmFy", bytes, &length));
    EXPECT_EQ('r', bytes[5]);
}

TEST(Base64, DecodingReadsNoFurtherThanItsText) {
    std::vector<std::uint8_t> decoded;
    EXPECT_EQ(S_OK, Base64Decode(std::string_view("Zm9vYmFy").substr(0, 4), &decoded));
    EXPECT_EQ(Bytes("foo"), decoded);
    std::vector<std::uint8_t> fromNothing;
    Base64Decode(std::string_view("Zm9v").substr(0, 0), &fromNothing);
    EXPECT_TRUE(fromNothing.empty());
    EXPECT_EQ(E_FAIL, Base64Decode("Zm9v*", &decoded));
}

}  // namespace
}  // namespace qsn::test
