#include "Utility/MemberCrypto.h"

#include <gtest/gtest.h>

#include "Utility/Hex.h"
#include "Utility/LibCrypto.h"

namespace qsn::test {
namespace {

std::vector<std::uint8_t> FromHex(std::string_view hex) {
    std::string bytes;
    EXPECT_TRUE(HexToBytes(hex, &bytes));
    return {bytes.begin(), bytes.end()};
}

AesKey KeyFromHex(std::string_view hex) {
    AesKey key;
    std::ranges::copy(FromHex(hex), key.begin());
    return key;
}

UniqueCipherContext NewContext() {
    StartLibCrypto();
    return UniqueCipherContext(EVP_CIPHER_CTX_new());
}

// McGrew and Viega, "The Galois/Counter Mode of Operation", cases 1 to 3.
constexpr struct {
    const char *key, *iv, *plain, *sealed;
} kGcmVectors[] = {
    {"00000000000000000000000000000000", "000000000000000000000000", "", "58e2fccefa7e3061367f1d57a4e7455a"},
    {"00000000000000000000000000000000", "000000000000000000000000", "00000000000000000000000000000000",
     "0388dace60b6a392f328c2b971b2fe78ab6e47d42cec13bdf53a67b21257bddf"},
    {"feffe9928665731c6d6a8f9467308308", "cafebabefacedbaddecaf888",
     "d9313225f88406e5a55909c5aff5269a86a7a9531534f7da2e4c303d8a318a72"
     "1c3c0c95956809532fcf0e2449a6b525b16aedf5aa0de657ba637b391aafd255",
     "42831ec2217774244b7221b784d0d49ce3aa212f2c02a4e035c17e2329aca12e"
     "21d514b25466931c7d8f6a5aac84aa051ba30b396a0aac973d58e091473f5985"
     "4d5c2af327cd64a62cf35abd2ba6fab4"},
};

TEST(AesGcm, Vectors) {
    for (const auto& v : kGcmVectors) {
        const AesKey key = KeyFromHex(v.key);
        std::vector<std::uint8_t> sealed, plain;
        int length = 0;
        EXPECT_EQ(S_OK, AesEncrypt(NewContext(), key, FromHex(v.iv), FromHex(v.plain), &sealed, &length));
        EXPECT_EQ(v.sealed, BytesToHex(sealed));
        EXPECT_EQ(sealed.size(), static_cast<std::size_t>(length));
        EXPECT_EQ(S_OK, AesDecrypt(NewContext(), key, FromHex(v.iv), sealed, &plain, &length));
        EXPECT_EQ(v.plain, BytesToHex(plain));
        EXPECT_EQ(plain.size(), static_cast<std::size_t>(length));
    }
}

TEST(AesGcm, HandsOutNothingThatWasChanged) {
    const auto& v = kGcmVectors[2];
    const std::size_t size = FromHex(v.sealed).size();
    for (const std::size_t changed : {std::size_t{0}, size - 17, size - 16, size - 1}) {
        std::vector<std::uint8_t> sealed = FromHex(v.sealed), plain;
        sealed[changed] ^= 1;
        int length = 0;
        EXPECT_EQ(E_FAIL, AesDecrypt(NewContext(), KeyFromHex(v.key), FromHex(v.iv), sealed, &plain, &length));
        EXPECT_TRUE(plain.empty());
    }
}

}  // namespace
}  // namespace qsn::test
