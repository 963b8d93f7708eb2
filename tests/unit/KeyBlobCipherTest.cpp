#include "Utility/KeyBlobCipher.h"

#include <gtest/gtest.h>
#include <openssl/bn.h>
#include <windows.h>

#include <wincrypt.h>

#include <algorithm>
#include <cstring>
#include <vector>

#include "Utility/LibCrypto.h"
#include "Utility/OpenSslOwners.h"

namespace qsn::test {
namespace {

constexpr int kKeyBits = 1536;
constexpr std::size_t kKeyBytes = kKeyBits / 8;
constexpr std::uint8_t kBlock[kKeyBlobBlockSize] = {'1', '2', '3', '4', '5'};

// Checks CryptoAPI's work with OpenSSL, which writes numbers with the highest byte first.
class KeyBlobCipherTest : public testing::Test {
protected:
    static void SetUpTestSuite() {
        StartLibCrypto();
        const std::unique_ptr<BIGNUM, decltype(&BN_free)> exponent(BN_new(), &BN_free);
        BN_set_word(exponent.get(), RSA_F4);
        s_rsa.reset(RSA_new());
        ASSERT_TRUE(RSA_generate_key_ex(s_rsa.get(), kKeyBits, exponent.get(), nullptr));
    }
    static void TearDownTestSuite() { s_rsa.reset(); }

    static KeyBlob PublicBlob() { return Blob(PUBLICKEYBLOB, 0x31415352); }
    static KeyBlob PrivateBlob() {
        KeyBlob blob = Blob(PRIVATEKEYBLOB, 0x32415352);
        for (const BIGNUM* const half : {RSA_get0_p(s_rsa.get()), RSA_get0_q(s_rsa.get()), RSA_get0_dmp1(s_rsa.get()),
                                         RSA_get0_dmq1(s_rsa.get()), RSA_get0_iqmp(s_rsa.get())})
            Append(blob, half, kKeyBytes / 2);
        Append(blob, RSA_get0_d(s_rsa.get()), kKeyBytes);
        return blob;
    }

    static std::vector<std::uint8_t> Encrypt(std::vector<std::uint8_t> plain, int padding) {
        std::vector<std::uint8_t> encrypted(kKeyBytes);
        RSA_public_encrypt(static_cast<int>(plain.size()), plain.data(), encrypted.data(), s_rsa.get(), padding);
        std::ranges::reverse(encrypted);
        return encrypted;
    }

    static inline UniqueRsa s_rsa;

private:
    static KeyBlob Blob(BYTE type, DWORD magic) {
        KeyBlob blob = {};
        const BLOBHEADER header = {type, CUR_BLOB_VERSION, 0, CALG_RSA_KEYX};
        const RSAPUBKEY key = {magic, kKeyBits, RSA_F4};
        std::memcpy(blob.bytes, &header, sizeof(header));
        std::memcpy(blob.bytes + sizeof(header), &key, sizeof(key));
        blob.length = sizeof(header) + sizeof(key);
        Append(blob, RSA_get0_n(s_rsa.get()), kKeyBytes);
        return blob;
    }
    static void Append(KeyBlob& blob, const BIGNUM* number, std::size_t size) {
        BN_bn2lebinpad(number, blob.bytes + blob.length, static_cast<int>(size));
        blob.length += static_cast<std::uint32_t>(size);
    }
};

TEST_F(KeyBlobCipherTest, EncryptsForTheHolderOfThePrivateKey) {
    std::uint8_t encrypted[512];
    std::uint32_t length = sizeof(encrypted);
    ASSERT_EQ(S_OK, EncryptWithKeyBlob(PublicBlob(), kBlock, encrypted, &length));
    ASSERT_EQ(kKeyBytes, length);
    std::reverse(encrypted, encrypted + length);
    std::uint8_t plain[kKeyBytes] = {};
    EXPECT_EQ(16, RSA_private_decrypt(static_cast<int>(length), encrypted, plain, s_rsa.get(), RSA_PKCS1_PADDING));
    EXPECT_TRUE(std::ranges::equal(kBlock, std::span(plain).first(16)));
}

TEST_F(KeyBlobCipherTest, DecryptsAndEndsThePlainBytes) {
    const auto encrypted = Encrypt({'9', '8', '7'}, RSA_PKCS1_PADDING);
    std::uint8_t plain[512];
    std::fill(std::begin(plain), std::end(plain), std::uint8_t{'#'});
    std::uint32_t length = sizeof(plain);
    ASSERT_EQ(S_OK, DecryptWithKeyBlob(PrivateBlob(), encrypted, plain, &length));
    EXPECT_EQ(3u, length);
    EXPECT_STREQ("987", reinterpret_cast<const char*>(plain));
}

TEST_F(KeyBlobCipherTest, RefusesWhatIsNoCiphertext) {
    std::uint8_t plain[512];
    const auto Decrypt = [&](const std::vector<std::uint8_t>& ciphertext) {
        std::uint32_t length = sizeof(plain);
        return DecryptWithKeyBlob(PrivateBlob(), ciphertext, plain, &length);
    };
    EXPECT_EQ(E_FAIL, Decrypt(Encrypt(std::vector<std::uint8_t>(kKeyBytes, 1), RSA_NO_PADDING)));
    EXPECT_EQ(E_FAIL, Decrypt(std::vector<std::uint8_t>(kKeyBytes - 1)));
    EXPECT_EQ(E_FAIL, Decrypt(std::vector<std::uint8_t>(kKeyBytes + 1)));
}

TEST_F(KeyBlobCipherTest, StaysInsideABufferThatIsShorterThanTheKey) {
    std::uint8_t buffer[512];
    std::fill(std::begin(buffer), std::end(buffer), std::uint8_t{'#'});
    const std::vector<std::uint8_t> fragment(20, 1);
    std::uint32_t capacity = 20;
    EXPECT_EQ(E_FAIL, DecryptWithKeyBlob(PrivateBlob(), fragment, buffer, &capacity));
    capacity = 20;
    EXPECT_EQ(E_FAIL, EncryptWithKeyBlob(PublicBlob(), kBlock, buffer, &capacity));
    EXPECT_TRUE(std::all_of(buffer + 20, std::end(buffer), [](std::uint8_t byte) { return byte == '#'; }));
}

TEST_F(KeyBlobCipherTest, ChecksItsArgumentsInOrder) {
    std::uint8_t buffer[512];
    std::uint32_t capacity = 8;
    const KeyBlob key = PublicBlob();
    EXPECT_EQ(E_POINTER, EncryptWithKeyBlob(key, kBlock, nullptr, &capacity));
    EXPECT_EQ(E_POINTER, EncryptWithKeyBlob(key, kBlock, buffer, nullptr));
    EXPECT_EQ(E_INVALIDARG, EncryptWithKeyBlob(key, kBlock, buffer, &capacity));
    EXPECT_EQ(E_POINTER, DecryptWithKeyBlob(key, {}, buffer, &capacity));
    EXPECT_EQ(E_POINTER, DecryptWithKeyBlob(key, kBlock, nullptr, &capacity));
    EXPECT_EQ(E_INVALIDARG, DecryptWithKeyBlob(key, kBlock, buffer, &capacity));
}

TEST_F(KeyBlobCipherTest, RefusesABlobThatIsNoKey) {
    KeyBlob empty = {}, tooLong = PublicBlob(), cut = PublicBlob();
    tooLong.length = sizeof(tooLong.bytes) + 1;
    cut.length = 10;
    for (const KeyBlob& blob : {empty, tooLong, cut}) {
        std::uint8_t buffer[512];
        std::uint32_t capacity = sizeof(buffer);
        EXPECT_EQ(E_FAIL, EncryptWithKeyBlob(blob, kBlock, buffer, &capacity)) << blob.length;
        EXPECT_EQ(E_FAIL, DecryptWithKeyBlob(blob, kBlock, buffer, &capacity)) << blob.length;
    }
}

}  // namespace
}  // namespace qsn::test
