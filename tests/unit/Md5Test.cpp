#include "Utility/KeyBlobCipher.h"
#include "Utility/Md5.h"

#include <gtest/gtest.h>

#include "Utility/Hex.h"

namespace qsn::test {
namespace {

std::string Digits(int repetitions) {
    std::string text;
    while (repetitions-- > 0) text += "1234567890";
    return text;
}

TEST(Md5, VectorsOfRfc1321) {
    const struct {
        std::string text;
        const char* digest;
    } vectors[] = {{"", "d41d8cd98f00b204e9800998ecf8427e"},
                   {"a", "0cc175b9c0f1b6a831c399e269772661"},
                   {"abc", "900150983cd24fb0d6963f7d28e17f72"},
                   {"message digest", "f96b697d7cb7938d525a2f31aaf161d0"},
                   {"abcdefghijklmnopqrstuvwxyz", "c3fcd3d76192e4007dfb496cca67e13b"},
                   {Digits(8), "57edf4a22be3c955ac49da2e2107b67a"}};
    for (const auto& v : vectors) EXPECT_EQ(v.digest, MD5HexOfString(v.text)) << v.text;
    EXPECT_EQ("d41d8cd98f00b204e9800998ecf8427e", MD5Hex({}));
}

TEST(Md5, HandsOutTheRawDigest) {
    std::uint8_t raw[16] = {};
    const std::string digest = MD5HexOfString("abc", raw, sizeof(raw));
    EXPECT_EQ(digest, BytesToHex(raw));
    for (const std::size_t size : {8, 15}) EXPECT_EQ("E_INVALID_HASHSIZE", MD5HexOfString("abc", raw, size));
}

TEST(Md5, HashesTextsUpToTheirNulAndBytesWhole) {
    const std::uint8_t bytes[] = {'a', 'b', 'c', 0, 'd'};
    EXPECT_EQ(MD5HexOfString("abc"), MD5HexOfString(std::string_view(reinterpret_cast<const char*>(bytes), 5)));
    EXPECT_NE(MD5HexOfString("abc"), MD5Hex(bytes));
}

TEST(Md5, HmacVectorsOfRfc2202) {
    std::string counted;
    for (char c = 0x01; c <= 0x19; ++c) counted += c;
    const struct {
        std::string key, message;
        const char* digest;
    } vectors[] = {
        {std::string(16, '\x0B'), "Hi There", "9294727a3638bb1c13f48ef8158bfc9d"},
        {"Jefe", "what do ya want for nothing?", "750c783e6ab0b503eaa86e310a5db738"},
        {std::string(16, '\xAA'), std::string(50, '\xDD'), "56be34521d144c88dbb8c733f0e8b3f6"},
        {counted, std::string(50, '\xCD'), "697eaf0aca3a3aea3a75164746ffaa79"},
        {std::string(80, '\xAA'), "Test Using Larger Than Block-Size Key - Hash Key First",
         "6b1ab7fe4bd7bf8f0b62e6ce61b9d0cd"},
        {std::string(80, '\xAA'), "Test Using Larger Than Block-Size Key and Larger Than One Block-Size Data",
         "6f630fad67cda0ee1fb1f562db3aa53e"},
        // Not of the RFC, but widely published.
        {"", "", "74e6f7298a9c2d168935f58c001bad88"},
    };
    for (const auto& v : vectors)
        EXPECT_EQ(v.digest, HmacMD5Hex(AcquireKeyBlobProvider(), v.message, v.key)) << v.message;
}

TEST(Md5, ErrorWordsAreNoHash) {
    EXPECT_TRUE(IsMD5Hex("d41d8cd98f00b204e9800998ecf8427e"));
    for (const char* const text : {"", "Error acquiring context", "D41D8CD98F00B204E9800998ECF8427E",
                                   "d41d8cd98f00b204e9800998ecf8427", "d41d8cd98f00b204e9800998ecf8427e0"})
        EXPECT_FALSE(IsMD5Hex(text)) << text;
}

}  // namespace
}  // namespace qsn::test
