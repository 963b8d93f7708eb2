#include <windows.h>

#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/rsa.h>
#include <wincrypt.h>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "Rows.h"
#include "Sections.h"
#include "Utility/Base64.h"
#include "Utility/LibCrypto.h"
#include "Utility/MemberCrypto.h"

namespace qsn::bench {
namespace {

using Bytes = std::vector<std::uint8_t>;

constexpr std::string_view kIv = "123456789012";

Bytes SomeBytes(std::size_t size) {
    Bytes bytes(size);
    for (std::size_t i = 0; i < size; ++i) bytes[i] = static_cast<std::uint8_t>(i * 131 + i / 251);
    return bytes;
}

std::string Encoded(const Bytes& bytes) {
    std::string text(bytes.size() * 2, '\0');
    auto length = static_cast<std::uint32_t>(text.size());
    Require(Base64EncodeLines(bytes, text.data(), &length) != 0, "Base64EncodeLines");
    text.resize(length);
    return text;
}

Pair<Step> Encoding(std::size_t size) {
    const auto bytes = std::make_shared<const Bytes>(SomeBytes(size));
    const auto text = std::make_shared<Bytes>(size * 2);
    const auto ours = [=] {
        auto length = static_cast<std::uint32_t>(text->size());
        Base64EncodeLines(*bytes, reinterpret_cast<char*>(text->data()), &length);
    };
    const auto beside = [=] { EVP_EncodeBlock(text->data(), bytes->data(), static_cast<int>(bytes->size())); };
    return {ours, beside};
}

struct EncodeContextDeleter {
    void operator()(EVP_ENCODE_CTX* context) const { EVP_ENCODE_CTX_free(context); }
};

Pair<Step> Decoding(std::size_t size) {
    const auto text = std::make_shared<const std::string>(Encoded(SomeBytes(size)));
    const auto bytes = std::make_shared<Bytes>(size + 3);
    const auto ours = [=] {
        auto length = static_cast<std::uint32_t>(bytes->size());
        Require(Base64DecodeLines(*text, bytes->data(), &length) != 0, "Base64DecodeLines");
    };
    const auto beside = [=] {
        const std::unique_ptr<EVP_ENCODE_CTX, EncodeContextDeleter> context(EVP_ENCODE_CTX_new());
        int length = 0;
        EVP_DecodeInit(context.get());
        Require(
            EVP_DecodeUpdate(context.get(), bytes->data(), &length,
                             reinterpret_cast<const unsigned char*>(text->data()), static_cast<int>(text->size())) >= 0,
            "EVP_DecodeUpdate");
    };
    return {ours, beside};
}

struct KeyDeleter {
    void operator()(EVP_PKEY* key) const { EVP_PKEY_free(key); }
    void operator()(EVP_PKEY_CTX* context) const { EVP_PKEY_CTX_free(context); }
};
using Key = std::unique_ptr<EVP_PKEY, KeyDeleter>;
using KeyContext = std::unique_ptr<EVP_PKEY_CTX, KeyDeleter>;

std::string PemOfNewKey() {
    constexpr unsigned kBits = 2048;
    StartLibCrypto();
    const Key key(EVP_RSA_gen(kBits));
    const UniqueBio bio(BIO_new(BIO_s_mem()));
    Require(PEM_write_bio_PUBKEY(bio.get(), key.get()) == 1, "PEM_write_bio_PUBKEY");
    char* data = nullptr;
    const auto length = static_cast<std::size_t>(BIO_get_mem_data(bio.get(), &data));
    return {data, length};
}

// The text between the marker lines.
std::string BareKey(const std::string& pem) {
    const std::size_t begin = pem.find('\n') + 1;
    return pem.substr(begin, pem.rfind("\n-----END") - begin);
}

void WrapBare(const std::string& pem, const AesKey& aesKey) {
    const UniqueBio bio(BIO_new_mem_buf(pem.data(), static_cast<int>(pem.size())));
    const Key key(PEM_read_bio_PUBKEY(bio.get(), nullptr, nullptr, nullptr));
    const KeyContext context(EVP_PKEY_CTX_new(key.get(), nullptr));
    Bytes wrapped(256);
    std::size_t length = wrapped.size();
    Require(EVP_PKEY_encrypt_init(context.get()) == 1 &&
                EVP_PKEY_CTX_set_rsa_padding(context.get(), RSA_PKCS1_OAEP_PADDING) == 1 &&
                EVP_PKEY_CTX_set_rsa_oaep_md(context.get(), EVP_sha256()) == 1 &&
                EVP_PKEY_encrypt(context.get(), wrapped.data(), &length, aesKey.data(), aesKey.size()) == 1,
            "EVP_PKEY_encrypt");
    Bytes text(length * 2);
    EVP_EncodeBlock(text.data(), wrapped.data(), static_cast<int>(length));
}

Pair<Step> Wrapping() {
    const std::string pem = PemOfNewKey();
    const auto bareKey = std::make_shared<const std::string>(BareKey(pem));
    const AesKey aesKey{1, 2, 3};
    const auto ours = [=] { Require(EncryptAESKeyByRSAKey(*bareKey, aesKey).result == S_OK, "EncryptAESKeyByRSAKey"); };
    return {ours, [=] { WrapBare(pem, aesKey); }};
}

const unsigned char* Raw(std::string_view text) { return reinterpret_cast<const unsigned char*>(text.data()); }

// OpenSSL's Base64, or CryptoAPI's, which is what a host on the platform has.
enum class Codec { kOpenSsl, kCryptoApi };

void Encode(Codec codec, const Bytes& bytes) {
    Bytes text(bytes.size() * 2);
    const int size = static_cast<int>(bytes.size());
    if (codec == Codec::kOpenSsl) {
        EVP_EncodeBlock(text.data(), bytes.data(), size);
        return;
    }
    auto length = static_cast<DWORD>(text.size());
    Require(CryptBinaryToStringA(bytes.data(), static_cast<DWORD>(size), CRYPT_STRING_BASE64 | CRYPT_STRING_NOCRLF,
                                 reinterpret_cast<char*>(text.data()), &length) != FALSE,
            "CryptBinaryToString");
}

Bytes Decode(Codec codec, const std::string& text) {
    Bytes bytes(text.size());
    if (codec == Codec::kOpenSsl) {
        EVP_DecodeBlock(bytes.data(), Raw(text), static_cast<int>(text.size()));
        return bytes;
    }
    // Once for the length and once for the bytes, as its users call it.
    DWORD length = 0;
    for (BYTE* output : {static_cast<BYTE*>(nullptr), bytes.data()}) {
        Require(CryptStringToBinaryA(text.data(), static_cast<DWORD>(text.size()), CRYPT_STRING_BASE64, output, &length,
                                     nullptr, nullptr) != FALSE,
                "CryptStringToBinary");
    }
    return bytes;
}

void EncryptBare(Codec codec, const AesKey& key, const std::string& text) {
    const UniqueCipherContext context(EVP_CIPHER_CTX_new());
    Bytes sealed(text.size() + 16);
    int length = 0;
    int rest = 0;
    Require(
        EVP_EncryptInit_ex(context.get(), EVP_aes_128_gcm(), nullptr, key.data(), Raw(kIv)) == 1 &&
            EVP_EncryptUpdate(context.get(), sealed.data(), &length, Raw(text), static_cast<int>(text.size())) == 1 &&
            EVP_EncryptFinal_ex(context.get(), sealed.data() + length, &rest) == 1 &&
            EVP_CIPHER_CTX_ctrl(context.get(), EVP_CTRL_GCM_GET_TAG, 16, sealed.data() + length) == 1,
        "GCM");
    Encode(codec, sealed);
}

void DecryptBare(Codec codec, const AesKey& key, const std::string& encoded, std::size_t size) {
    Bytes sealed = Decode(codec, encoded);
    const UniqueCipherContext context(EVP_CIPHER_CTX_new());
    Bytes text(size);
    int length = 0;
    int rest = 0;
    Require(EVP_DecryptInit_ex(context.get(), EVP_aes_128_gcm(), nullptr, key.data(), Raw(kIv)) == 1 &&
                EVP_DecryptUpdate(context.get(), text.data(), &length, sealed.data(), static_cast<int>(size)) == 1 &&
                EVP_CIPHER_CTX_ctrl(context.get(), EVP_CTRL_GCM_SET_TAG, 16, sealed.data() + size) == 1 &&
                EVP_DecryptFinal_ex(context.get(), text.data() + length, &rest) == 1,
            "GCM");
}

constexpr AesKey kKey{7, 8, 9};
constexpr std::size_t kTextSize = 2048;

Pair<Step> Sealing(Codec codec) {
    StartLibCrypto();
    const auto text = std::make_shared<const std::string>(kTextSize, 'x');
    const auto ours = [=] { Require(EncryptByAESKey(kKey, kIv, *text).result == S_OK, "EncryptByAESKey"); };
    return {ours, [=] { EncryptBare(codec, kKey, *text); }};
}

Pair<Step> Opening(Codec codec) {
    const auto encoded =
        std::make_shared<const std::string>(EncryptByAESKey(kKey, kIv, std::string(kTextSize, 'x')).value);
    const auto ours = [=] { Require(DecryptByAESKey(kKey, kIv, *encoded).result == S_OK, "DecryptByAESKey"); };
    return {ours, [=] { DecryptBare(codec, kKey, *encoded, kTextSize); }};
}

}  // namespace

void AddCipherRows() {
    static constexpr char kEncode[] = "`EVP_EncodeBlock`, one line";
    static constexpr char kDecode[] = "`EVP_DecodeUpdate`";
    static constexpr char kTable[] = "a table look-up a character";
    AddPair({"base64-encode-2k", "Base64 lines of 2 KB", kEncode, kTable, 1.0}, {}, [] { return Encoding(2048); });
    AddPair({"base64-encode-1m", "Base64 lines of 1 MB", kEncode, kTable, 1.0}, {}, [] { return Encoding(1 << 20); });
    AddPair({"base64-decode-2k", "2 KB from Base64 lines", kDecode, kTable, 1.0}, {}, [] { return Decoding(2048); });
    AddPair({"base64-decode-1m", "1 MB from Base64 lines", kDecode, kTable, 1.0}, {}, [] { return Decoding(1 << 20); });
    AddPair({"wrap-key", "`EncryptAESKeyByRSAKey`", "EVP: PEM, OAEP, Base64", "reading the key, RSA-2048", 1.1}, {},
            Wrapping);
    static constexpr char kSeal[] = "`EncryptByAESKey`, 2 KB";
    static constexpr char kOpen[] = "`DecryptByAESKey`, 2 KB";
    static constexpr char kOpenSsl[] = "EVP: AES-GCM, Base64";
    static constexpr char kCryptoApi[] = "EVP: AES-GCM; CryptoAPI: Base64";
    static constexpr char kBoth[] = "the cipher and Base64";
    AddPair({"gcm-encrypt", kSeal, kOpenSsl, kBoth, 1.1}, {}, [] { return Sealing(Codec::kOpenSsl); });
    AddPair({"gcm-encrypt-platform", kSeal, kCryptoApi, kBoth, 0}, {}, [] { return Sealing(Codec::kCryptoApi); });
    AddPair({"gcm-decrypt", kOpen, kOpenSsl, kBoth, 1.1}, {}, [] { return Opening(Codec::kOpenSsl); });
    AddPair({"gcm-decrypt-platform", kOpen, kCryptoApi, kBoth, 0}, {}, [] { return Opening(Codec::kCryptoApi); });
}

}  // namespace qsn::bench
