#include <gtest/gtest.h>
#include <openssl/bn.h>
#include <openssl/rand.h>

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <map>
#include <regex>

#include "Utility/Base64.h"
#include "Utility/Hex.h"
#include "Utility/Jwt.h"
#include "Utility/KeyBlobCipher.h"
#include "Utility/Md5.h"
#include "Utility/MemberCrypto.h"
#include "protocol/MemberAuthMessages.h"
#include "protocol/Reply.h"
#include "protocol/RequestBodies.h"

namespace qsn::test {
namespace {

std::span<const std::uint8_t> AsBytes(const std::string& bytes) {
    return {reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size()};
}

std::string FromHex(const std::string& hex) { return HexToBytes(hex).value(); }

std::string ToHex(const std::string& bytes) { return BytesToHex(AsBytes(bytes)); }

// What libcrypto takes for random for as long as this lives.
class RandomBytes {
public:
    explicit RandomBytes(std::string bytes) {
        s_bytes = std::move(bytes);
        RAND_set_rand_method(&kMethod);
    }
    RandomBytes(const RandomBytes&) = delete;
    RandomBytes& operator=(const RandomBytes&) = delete;
    ~RandomBytes() { RAND_set_rand_method(nullptr); }

private:
    static int Take(unsigned char* buffer, int size) {
        return s_bytes.copy(reinterpret_cast<char*>(buffer), static_cast<std::size_t>(size)) == s_bytes.size();
    }
    static inline std::string s_bytes;
    static constexpr RAND_METHOD kMethod{nullptr, Take, nullptr, nullptr, Take, nullptr};
};

std::string Reversed(const std::string& bytes) { return {bytes.rbegin(), bytes.rend()}; }

std::string EncryptWithoutPadding(const UniqueRsa& rsa, const std::string& padded) {
    std::string encrypted(padded.size(), '\0');
    const int size = RSA_public_encrypt(static_cast<int>(padded.size()), AsBytes(padded).data(),
                                        reinterpret_cast<unsigned char*>(encrypted.data()), rsa.get(), RSA_NO_PADDING);
    EXPECT_EQ(encrypted.size(), static_cast<std::size_t>(size));
    return encrypted;
}

// Computes the worked example of the documentation again, each value from others on the page.
class WireExample : public testing::Test {
protected:
    void SetUp() override {
        std::ifstream page(QSN_TEST_DOCS_DIR "/wire-example.md");
        ASSERT_TRUE(page);
        static const std::regex start("([A-Za-z_]+) =(?: (.+))?");
        std::string name;
        std::smatch match;
        for (std::string line; std::getline(page, line);) {
            if (std::regex_match(line, match, start)) {
                name = match[1];
                m_values[name] = match[2];
            } else if (!line.starts_with("    ")) {
                name.clear();
            } else if (!name.empty()) {
                m_values[name].append(line, 4);
            }
        }
    }

    // Throws if the page has no such value.
    const std::string& Text(const std::string& name) const { return m_values.at(name); }
    std::string Bytes(const std::string& name) const { return FromHex(Text(name)); }
    std::string Line(const std::string& name) const { return Text(name) + '\n'; }

private:
    std::map<std::string, std::string> m_values;
};

TEST_F(WireExample, TheRequestsPair) {
    std::srand(static_cast<unsigned>(std::stoul(Text("time"))));
    EXPECT_EQ(std::to_string(std::rand()), Text("nonce"));
    std::string block = Text("nonce");
    block.resize(kKeyBlobBlockSize);
    EXPECT_EQ(ToHex(block), Text("block"));

    const std::string modulus = Bytes("modulus"), padded = Bytes("padded");
    const std::string header = FromHex("0602000000a40000") + "RSA1" + FromHex("0006000001000100");
    EXPECT_EQ(ToHex(header + Reversed(modulus)), Text("key_blob"));
    ASSERT_EQ(modulus.size(), padded.size());
    const std::size_t zero = padded.find('\0', 1);
    EXPECT_EQ(std::string("\0\2", 2), padded.substr(0, 2));
    EXPECT_EQ(block, padded.substr(zero + 1));
    const auto number = [](const std::string& bytes) {
        return BN_bin2bn(AsBytes(bytes).data(), static_cast<int>(bytes.size()), nullptr);
    };
    const UniqueRsa rsa(RSA_new());
    RSA_set0_key(rsa.get(), number(modulus), number(Bytes("exponent")), nullptr);
    EXPECT_EQ(ToHex(EncryptWithoutPadding(rsa, padded)), Text("ciphertext"));
    EXPECT_EQ(ToHex(Reversed(Bytes("ciphertext"))), Text("X_token"));

    RequestValues values;
    values.accessToken = "demo-token-ada";
    const std::string body = WriteRequestBody(RequestType::kGetUserInfo, values).value;
    EXPECT_EQ(body, Line("body"));
    EXPECT_EQ(HmacMD5Hex(AcquireKeyBlobProvider(), body, Text("nonce")), Text("X_digest"));
}

TEST_F(WireExample, TheReply) {
    EXPECT_EQ(HmacMD5Hex(AcquireKeyBlobProvider(), Line("reply_body"), Text("reply_nonce")), Text("reply_digest"));
    const ReplyPayload payload =
        ReadPayload(RequestType::kGetUserInfo, ReadEnvelope(Line("reply_body")).value.data).value;
    EXPECT_EQ("20417", payload.userID);
    EXPECT_EQ(3600, payload.nextVerifyTime);
}

TEST_F(WireExample, TheRenewalOfAMemberToken) {
    AesKey key{};
    ASSERT_EQ(key.size(), Bytes("aes_key").copy(reinterpret_cast<char*>(key.data()), key.size()));
    {
        const RandomBytes random(Bytes("seed"));
        EXPECT_EQ(EncryptAESKeyByRSAKey(Text("public_key"), key).value, Text("a"));
    }

    EXPECT_EQ(WriteMemberRefreshSecret("demo-refresh-token-ada", 20417).value, Line("secret"));
    EXPECT_EQ("ZTHarborKeys", Bytes("iv"));
    EXPECT_EQ(EncryptByAESKey(key, Bytes("iv"), Line("secret")).value, Text("data"));
    EXPECT_EQ(Base64Encode(AsBytes(Bytes("sealed"))).value, Text("data"));

    EXPECT_EQ(DecryptByAESKey(key, Bytes("iv"), Text("info")).value, Line("reply_secret"));
    EXPECT_EQ(DecodeJWT(ReadRenewedMemberToken(Line("reply_secret")).value).value, Text("claims"));
}

}  // namespace
}  // namespace qsn::test
