#include <gtest/gtest.h>
#include <openssl/err.h>
#include <openssl/pem.h>

#include <algorithm>
#include <ctime>

#include "Utility/Hex.h"
#include "Utility/KeyBlobCipher.h"
#include "Utility/LibCrypto.h"
#include "Utility/Md5.h"
#include "Utility/MemberCrypto.h"
#include "protocol/KeyProvider.h"
#include "protocol/MessageAuthentication.h"

namespace qsn::test {
namespace {

TEST(Md5, HashesTextsUpToTheirNulAndBytesWhole) {
    // RFC 1321.
    const std::string hash = "900150983cd24fb0d6963f7d28e17f72";
    const std::uint8_t bytes[] = {'a', 'b', 'c', 0, 'd'};
    std::uint8_t raw[16] = {};
    EXPECT_EQ("d41d8cd98f00b204e9800998ecf8427e", MD5Hex({}));
    EXPECT_EQ(hash, MD5HexOfString({"abc\0d", 5}, raw, sizeof(raw)));
    EXPECT_EQ(hash, BytesToHex(raw));
    EXPECT_NE(hash, MD5Hex(bytes));
    EXPECT_EQ("E_INVALID_HASHSIZE", MD5HexOfString("abc", raw, 15));
    EXPECT_TRUE(IsMD5Hex(hash));
    for (const std::string& text : {hash.substr(1), hash + "0", "D" + hash.substr(1)}) EXPECT_FALSE(IsMD5Hex(text));
}

// RFC 2202. The worked example has shorter keys.
TEST(Md5, HmacHashesALongKeyFirst) {
    const std::string longKey(80, '\xAA'), message = "Test Using Larger Than Block-Size Key - Hash Key First";
    EXPECT_EQ("6b1ab7fe4bd7bf8f0b62e6ce61b9d0cd", HmacMD5Hex(AcquireKeyBlobProvider(), message, longKey));
}

std::vector<std::uint8_t> FromHex(std::string_view hex) {
    const std::string bytes = HexToBytes(hex).value();
    return {bytes.begin(), bytes.end()};
}

// McGrew and Viega, "The Galois/Counter Mode of Operation", cases 1 and 2.
TEST(AesGcm, SealsAndOpensAndHandsOutNothingThatWasChanged) {
    const AesKey key{};
    const std::vector<std::uint8_t> iv(12);
    const auto newContext = [] {
        StartLibCrypto();
        return UniqueCipherContext(EVP_CIPHER_CTX_new());
    };
    for (const auto& [plain, expected] :
         {std::pair("", "58e2fccefa7e3061367f1d57a4e7455a"),
          {"00000000000000000000000000000000", "0388dace60b6a392f328c2b971b2fe78ab6e47d42cec13bdf53a67b21257bddf"}}) {
        std::vector<std::uint8_t> sealed = AesEncrypt(newContext(), key, iv, FromHex(plain)).value;
        ASSERT_EQ(expected, BytesToHex(sealed));
        const auto opened = AesDecrypt(newContext(), key, iv, sealed);
        EXPECT_EQ(S_OK, opened.result);
        EXPECT_EQ(plain, BytesToHex(opened.value));
        for (std::uint8_t* changed : {&sealed.front(), &sealed.back()}) {
            *changed ^= 1;
            const auto refused = AesDecrypt(newContext(), key, iv, sealed);
            EXPECT_EQ(E_FAIL, refused.result);
            EXPECT_TRUE(refused.value.empty());
            *changed ^= 1;
        }
    }
}

TEST(MemberKey, IsRefusedWhereItAsksForAPassPhrase) {
    const std::string key = "Proc-Type: 4,ENCRYPTED\nDEK-Info: AES-128-CBC,000102030405060708090A0B0C0D0E0F\n\nAAAA";
    EXPECT_EQ(E_FAIL, EncryptAESKeyByRSAKey(key, AesKey{}).result);
    EXPECT_EQ(PEM_R_BAD_PASSWORD_READ, ERR_GET_REASON(ERR_get_error())) << "somebody has given one";
    ERR_clear_error();
}

// The tests of whole requests show that the service can read the token, and that a reply needs its own pair.
TEST(MessageAuthentication, ARequestCarriesTheNonceOfItsSecond) {
    std::uint32_t second = 0;
    MessageAuthentication authentication;
    Outcome<AuthenticationPair> pair;
    do {
        second = static_cast<std::uint32_t>(std::time(nullptr));
        pair = authentication.GenerateTokenAndDigest(ProvidedKey(KeySlot::kRequest).Blob(), "{}\n");
        ASSERT_EQ(S_OK, pair.result);
    } while (std::time(nullptr) != second);
    // What the C runtime's generator gives first after being seeded with the second.
    const std::string nonce = std::to_string(((second * 214013u + 2531011u) >> 16) & 0x7fff);
    EXPECT_EQ(HmacMD5Hex(AcquireKeyBlobProvider(), "{}\n", nonce), pair.value.digest);
    KeyBlob tooMuch = ProvidedKey(KeySlot::kRequest).Blob();
    tooMuch.length = sizeof(tooMuch.bytes) + 1;
    for (const KeyBlob& blob : {KeyBlob{}, tooMuch})
        EXPECT_EQ(E_FAIL, authentication.GenerateTokenAndDigest(blob, "x").result);
}

TEST(MessageAuthentication, StaysInsideABufferThatIsShorterThanTheKey) {
    const ProvidedKey key(KeySlot::kReply);
    const std::array<std::uint8_t, 16> block{};
    std::vector<std::uint8_t> memory(512, '#');
    const std::span buffer = std::span(memory).first(20);
    EXPECT_EQ(E_FAIL, DecryptWithKeyBlob(AcquireKeyBlobProvider(), key.Blob(), block, buffer).result);
    EXPECT_EQ(E_FAIL, EncryptWithKeyBlob(AcquireKeyBlobProvider(), key.Blob(), block, buffer).result);
    EXPECT_EQ(512 - 20, std::count(memory.begin() + 20, memory.end(), '#'));
    EXPECT_EQ(E_INVALIDARG, DecryptWithKeyBlob(AcquireKeyBlobProvider(), key.Blob(), block, buffer.first(15)).result);
}

}  // namespace
}  // namespace qsn::test
