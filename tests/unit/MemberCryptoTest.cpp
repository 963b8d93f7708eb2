#include "Utility/MemberCrypto.h"

#include <gmock/gmock.h>
#include <openssl/bn.h>
#include <openssl/pem.h>

#include "SwitchedOnTrace.h"
#include "Utility/Base64.h"
#include "Utility/Hex.h"
#include "Utility/LibCrypto.h"

namespace qsn::test {
namespace {

using testing::ElementsAre;
using testing::StartsWith;

constexpr char kIv[] = "twelve bytes";

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
        const SwitchedOnTrace trace;
        std::vector<std::uint8_t> sealed = FromHex(v.sealed), plain;
        sealed[changed] ^= 1;
        int length = 0;
        EXPECT_EQ(E_FAIL, AesDecrypt(NewContext(), KeyFromHex(v.key), FromHex(v.iv), sealed, &plain, &length));
        EXPECT_TRUE(plain.empty());
        EXPECT_THAT(trace.Lines(), ElementsAre("Failed to call EVP_DecryptFinal_ex"));
    }
}

TEST(AesGcm, RefusesLengthsItCannotUse) {
    const AesKey key = {};
    const std::vector<std::uint8_t> iv(12), shortIv(11), noTag(15);
    std::vector<std::uint8_t> output;
    int length = 0;
    EXPECT_EQ(E_FAIL, AesDecrypt(NewContext(), key, iv, noTag, &output, &length));
    EXPECT_EQ(E_INVALIDARG, AesEncrypt(NewContext(), key, shortIv, noTag, &output, &length));
    EXPECT_EQ(E_INVALIDARG, AesDecrypt(NewContext(), key, shortIv, noTag, &output, &length));
    EXPECT_EQ(E_INVALIDARG, AesEncrypt(nullptr, key, iv, noTag, &output, &length));
}

TEST(MemberCrypto, TextsSurviveTheRoundTrip) {
    AesKey key, other;
    ASSERT_EQ(S_OK, GenerateAesKey(&key));
    ASSERT_EQ(S_OK, GenerateAesKey(&other));
    EXPECT_NE(key, other);
    for (const std::string& text :
         {std::string(), std::string("text"), std::string(3000, 'x'), std::string("a\0b", 3)}) {
        std::string encoded, decoded;
        ASSERT_EQ(S_OK, EncryptByAESKey(key, kIv, text, &encoded));
        EXPECT_EQ(std::string::npos, encoded.find_first_of("\r\n"));
        ASSERT_EQ(S_OK, DecryptByAESKey(key, kIv, encoded, &decoded));
        EXPECT_EQ(text, decoded);
        EXPECT_EQ(E_FAIL, DecryptByAESKey(other, kIv, encoded, &decoded));
    }
}

TEST(MemberCrypto, NamesTheStepThatFailed) {
    const SwitchedOnTrace trace;
    std::string text;
    EXPECT_EQ(E_FAIL, DecryptByAESKey({}, kIv, "*", &text));
    EXPECT_EQ(E_FAIL, DecryptByAESKey({}, kIv, "AAAA", &text));
    EXPECT_EQ(E_INVALIDARG, EncryptByAESKey({}, "", "text", &text));
    EXPECT_THAT(trace.Lines(), ElementsAre("Failed to calculate buffer size for Base64 decode\n",
                                           StartsWith("FAILED: 0x80004005 @ Utility\\CryptoUtility:"),
                                           StartsWith("FAILED: 0x80004005 @ Utility\\CryptoUtility:"),
                                           StartsWith("FAILED: 0x80070057 @ Utility\\CryptoUtility:")));
}

class MemberKeyWrap : public testing::Test {
protected:
    static void SetUpTestSuite() {
        StartLibCrypto();
        const std::unique_ptr<BIGNUM, decltype(&BN_free)> exponent(BN_new(), &BN_free);
        BN_set_word(exponent.get(), RSA_F4);
        s_rsa.reset(RSA_new());
        ASSERT_TRUE(RSA_generate_key_ex(s_rsa.get(), 2048, exponent.get(), nullptr));
    }
    static void TearDownTestSuite() { s_rsa.reset(); }

    // As the service sends it: no marker lines, no line breaks.
    static std::string BareKey() {
        unsigned char* der = nullptr;
        const int size = i2d_RSA_PUBKEY(s_rsa.get(), &der);
        std::string text;
        EXPECT_EQ(S_OK, Base64Encode({der, static_cast<std::size_t>(size)}, &text));
        OPENSSL_free(der);
        return text;
    }

    static std::vector<std::uint8_t> Unwrap(const std::string& encoded) {
        std::vector<std::uint8_t> wrapped;
        EXPECT_EQ(S_OK, Base64Decode(encoded, &wrapped));
        std::vector<std::uint8_t> padded(wrapped.size()), key(wrapped.size());
        const int size = static_cast<int>(wrapped.size());
        EXPECT_EQ(size, RSA_private_decrypt(size, wrapped.data(), padded.data(), s_rsa.get(), RSA_NO_PADDING));
        const int length = RSA_padding_check_PKCS1_OAEP_mgf1(key.data(), size, padded.data(), size, size, nullptr, 0,
                                                             EVP_sha256(), EVP_sha256());
        key.resize(length < 0 ? 0 : static_cast<std::size_t>(length));
        return key;
    }

    static inline UniqueRsa s_rsa;
};

TEST_F(MemberKeyWrap, TheServiceUnwrapsTheKey) {
    const AesKey key = KeyFromHex("feffe9928665731c6d6a8f9467308308");
    std::string first, second;
    ASSERT_EQ(S_OK, EncryptAESKeyByRSAKey(BareKey(), key, &first));
    ASSERT_EQ(S_OK, EncryptAESKeyByRSAKey(BareKey(), key, &second));
    EXPECT_THAT(Unwrap(first), testing::ElementsAreArray(key));
    EXPECT_NE(first, second) << "OAEP is randomised";
}

TEST_F(MemberKeyWrap, RefusesAKeyThatIsNone) {
    for (const std::string& bare : {std::string(), std::string("garbage"), std::string("AAAA"), BareKey().substr(4),
                                    std::string("-----END PUBLIC KEY-----")}) {
        const SwitchedOnTrace trace;
        std::string encoded = "untouched";
        EXPECT_EQ(E_FAIL, EncryptAESKeyByRSAKey(bare, {}, &encoded)) << bare;
        EXPECT_EQ("untouched", encoded);
        EXPECT_THAT(trace.Lines(), ElementsAre("Failed to read RSA public key from PEM\n",
                                               testing::MatchesRegex("FAILED: 0x80004005 @ Utility.CryptoUtility:.* "
                                                                     "CreateRSAFromPEM\\(strOpenSSLKey, &rsa\\)\n")));
    }
}

TEST_F(MemberKeyWrap, RefusesAModulusWithoutRoomForThePadding) {
    const SwitchedOnTrace trace;
    const UniqueRsa small(RSA_new());
    BIGNUM* const modulus = BN_new();
    BIGNUM* const exponent = BN_new();
    BN_set_bit(modulus, 511);
    BN_set_word(exponent, RSA_F4);
    RSA_set0_key(small.get(), modulus, exponent, nullptr);
    std::vector<std::uint8_t> wrapped;
    EXPECT_EQ(E_FAIL, EncryptAesKey(small.get(), {}, &wrapped));
    EXPECT_THAT(trace.Lines(), ElementsAre("Failed in RSA_padding_add_PKCS1_OAEP_mgf1\n"));
}

}  // namespace
}  // namespace qsn::test
