#include "engine/MessageAuthentication.h"

#include <gtest/gtest.h>
#include <wincrypt.h>
#include <windows.h>

#include <algorithm>
#include <ctime>
#include <string>

#include "Utility/Hex.h"
#include "Utility/Md5.h"
#include "Utility/Win32Owners.h"

namespace {

using qsn::AuthenticationPair;
using qsn::KeyBlob;

// A pair of keys of the protocol's kind, made by the platform.
class KeyPair {
public:
    explicit KeyPair(DWORD bits = 1536) {
        HCRYPTPROV provider = 0;
        HCRYPTKEY key = 0;
        EXPECT_TRUE(CryptAcquireContextW(&provider, nullptr, L"Microsoft Enhanced Cryptographic Provider v1.0",
                                         PROV_RSA_FULL, CRYPT_VERIFYCONTEXT));
        EXPECT_TRUE(CryptGenKey(provider, AT_KEYEXCHANGE, (bits << 16) | CRYPT_EXPORTABLE, &key));
        Export(key, PUBLICKEYBLOB, publicKey);
        if (bits <= 1536) Export(key, PRIVATEKEYBLOB, privateKey);  // longer ones do not fit a blob
        CryptDestroyKey(key);
        CryptReleaseContext(provider, 0);
    }

    KeyBlob publicKey{};
    KeyBlob privateKey{};

private:
    static void Export(HCRYPTKEY key, DWORD type, KeyBlob& blob) {
        DWORD length = sizeof(blob.bytes);
        EXPECT_TRUE(CryptExportKey(key, 0, type, 0, blob.bytes, &length));
        blob.length = length;
    }
};

const KeyPair& Keys() {
    static const KeyPair keys;
    return keys;
}

// What the C runtime's generator gives first after being seeded with `seconds`.
std::string NonceOf(std::time_t seconds) {
    return std::to_string(((static_cast<std::uint32_t>(seconds) * 214013u + 2531011u) >> 16) & 0x7fff);
}

TEST(MessageAuthentication, ARequestCarriesTheNonceOfItsSecond) {
    const std::string body = "{\"a\":1}\n";
    std::time_t second = 0;
    AuthenticationPair pair{};
    do {
        second = std::time(nullptr);
        ASSERT_EQ(qsn::GenerateTokenAndDigest(Keys().publicKey, body, &pair), S_OK);
    } while (std::time(nullptr) != second);
    EXPECT_EQ(pair.digest, qsn::HmacMD5Hex(qsn::AcquireKeyBlobProvider(), body, NonceOf(second)));
    EXPECT_EQ(std::string(pair.token).size(), 2u * 1536 / 8);

    std::string encrypted;
    ASSERT_TRUE(qsn::HexToBytes(pair.token, &encrypted));
    std::uint8_t plain[512] = {};
    std::uint32_t length = sizeof(plain);
    const std::span ciphertext(reinterpret_cast<const std::uint8_t*>(encrypted.data()), encrypted.size());
    ASSERT_EQ(qsn::DecryptWithKeyBlob(qsn::AcquireKeyBlobProvider(), Keys().privateKey, ciphertext, plain, &length),
              S_OK);
    ASSERT_EQ(length, 16u) << "the nonce fills its block up with zeros";
    std::string block = NonceOf(second);
    block.resize(16, '\0');
    EXPECT_EQ(std::string(reinterpret_cast<char*>(plain), length), block);
}

TEST(MessageAuthentication, BadArgumentsAndKeysAreRefused) {
    AuthenticationPair pair{};
    EXPECT_EQ(qsn::GenerateTokenAndDigest(Keys().publicKey, {}, &pair), E_POINTER);
    EXPECT_EQ(qsn::GenerateTokenAndDigest(Keys().publicKey, "x", nullptr), E_POINTER);
    KeyBlob tooMuch = Keys().publicKey, cut = Keys().publicKey;
    tooMuch.length = sizeof(tooMuch.bytes) + 1;
    cut.length = 10;
    for (const KeyBlob& blob : {KeyBlob{}, tooMuch, cut}) {
        EXPECT_EQ(qsn::GenerateTokenAndDigest(blob, "x", &pair), E_FAIL) << blob.length;
    }
    const KeyPair tooLong(2048);
    EXPECT_EQ(qsn::GenerateTokenAndDigest(tooLong.publicKey, "x", &pair), E_UNEXPECTED);
}

TEST(MessageAuthentication, StaysInsideABufferThatIsShorterThanTheKey) {
    const std::vector<std::uint8_t> block(16, 1);
    std::vector<std::uint8_t> buffer(512, '#');
    std::uint32_t capacity = 20;
    EXPECT_EQ(
        qsn::DecryptWithKeyBlob(qsn::AcquireKeyBlobProvider(), Keys().privateKey, block, buffer.data(), &capacity),
        E_FAIL);
    capacity = 20;
    EXPECT_EQ(qsn::EncryptWithKeyBlob(qsn::AcquireKeyBlobProvider(), Keys().publicKey, std::span(block).first<16>(),
                                      buffer.data(), &capacity),
              E_FAIL);
    EXPECT_EQ(std::count(buffer.begin() + 20, buffer.end(), '#'), 512 - 20);
    capacity = 15;
    EXPECT_EQ(
        qsn::DecryptWithKeyBlob(qsn::AcquireKeyBlobProvider(), Keys().privateKey, block, buffer.data(), &capacity),
        E_INVALIDARG);
}

// Each way to spoil a pair on the wire is in the tests of whole requests.
TEST(MessageAuthentication, AReplyIsBelievedOnlyWithItsOwnPair) {
    const std::string body = R"({"result":0})";
    AuthenticationPair pair{}, other{};
    ASSERT_EQ(qsn::GenerateTokenAndDigest(Keys().publicKey, body, &pair), S_OK);
    ASSERT_EQ(qsn::GenerateTokenAndDigest(KeyPair().publicKey, body, &other), S_OK);
    const std::string token = pair.token, digest = pair.digest;
    const struct {
        const char* what;
        std::string body, token, digest;
        HRESULT expected;
    } cases[] = {
        {"its own", body, token, digest, S_OK},
        {"altered body", body + " ", token, digest, E_FAIL},
        {"digest cut short", body, token, digest.substr(0, 31), E_FAIL},
        {"token of another key", body, other.token, other.digest, E_FAIL},
        {"token longer than any", body, token + std::string(512 - token.size(), '0'), digest, E_FAIL},
        {"token of one byte", body, "00", digest, E_FAIL},
    };
    for (const auto& each : cases) {
        EXPECT_EQ(qsn::CheckTokenAndDigest(Keys().privateKey, each.body, each.token, each.digest), each.expected)
            << each.what;
    }
}

}  // namespace
