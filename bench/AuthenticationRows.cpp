#include <windows.h>

#include <wincrypt.h>

#include <array>
#include <memory>
#include <string>

#include "Rows.h"
#include "Sections.h"
#include "Utility/CryptoApiOwners.h"
#include "Utility/Hex.h"
#include "protocol/KeyProvider.h"
#include "protocol/MessageAuthentication.h"
#include "service/operations/Authenticator.h"

namespace qsn::bench {
namespace {

// The platform's calls and nothing else: a provider that is kept, and one hash.
class BareCrypto {
public:
    BareCrypto() {
        Require(
            CryptAcquireContextW(m_provider.Receive(), nullptr, MS_ENHANCED_PROV_W, PROV_RSA_FULL, CRYPT_VERIFYCONTEXT),
            "CryptAcquireContext");
    }
    void Import(const KeyBlob& key) {
        Require(CryptImportKey(m_provider.Get(), key.bytes, key.length, 0, 0, m_key.Receive()), "CryptImportKey");
    }
    void Encrypt() {
        std::array<BYTE, 256> block{};
        DWORD length = kKeyBlobBlockSize;
        Require(CryptEncrypt(m_key.Get(), 0, TRUE, 0, block.data(), &length, block.size()), "CryptEncrypt");
    }
    void Decrypt(const std::string& encrypted) {
        std::string block = encrypted;
        auto length = static_cast<DWORD>(block.size());
        Require(CryptDecrypt(m_key.Get(), 0, TRUE, 0, reinterpret_cast<BYTE*>(block.data()), &length), "CryptDecrypt");
    }
    void Hash(const std::string& body) {
        std::array<BYTE, 16> digest{};
        DWORD size = digest.size();
        UniqueCryptHash hash;
        Require(CryptCreateHash(m_provider.Get(), CALG_MD5, 0, 0, hash.Receive()), "CryptCreateHash");
        CryptHashData(hash.Get(), reinterpret_cast<const BYTE*>(body.data()), static_cast<DWORD>(body.size()), 0);
        Require(CryptGetHashParam(hash.Get(), HP_HASHVAL, digest.data(), &size, 0), "CryptGetHashParam");
    }

private:
    UniqueCryptProvider m_provider;
    UniqueCryptKey m_key;
};

// HMAC is two hashes.
Pair<Step> Request(std::size_t size, bool hmac) {
    const auto body = std::make_shared<const std::string>(size, 'x');
    const auto key = std::make_shared<const ProvidedKey>(KeySlot::kRequest);
    const auto authentication = std::make_shared<MessageAuthentication>();
    const auto crypto = std::make_shared<BareCrypto>();
    const auto ours = [=] {
        Require(SUCCEEDED(authentication->GenerateTokenAndDigest(key->Blob(), *body).result), "no pair");
    };
    const auto beside = [=] {
        crypto->Import(key->Blob());
        crypto->Encrypt();
        crypto->Hash(*body);
        if (hmac) crypto->Hash("inner digest");
    };
    return {ours, beside};
}

Pair<Step> Reply(std::size_t size) {
    const auto body = std::make_shared<const std::string>(size, 'x');
    const auto key = std::make_shared<const ProvidedKey>(KeySlot::kReply);
    const service::TokenAndDigest pair = service::Authenticator(QSN_TEST_KEY_DIR).Make(*body);
    const std::string block = HexToBytes(pair.token).value();
    const auto authentication = std::make_shared<MessageAuthentication>();
    const auto crypto = std::make_shared<BareCrypto>();
    const auto ours = [=] {
        Require(authentication->CheckTokenAndDigest(key->Blob(), *body, pair.token, pair.digest) == S_OK,
                "CheckTokenAndDigest");
    };
    const auto beside = [=] {
        crypto->Import(key->Blob());
        crypto->Decrypt(block);
        crypto->Hash(*body);
    };
    return {ours, beside};
}

}  // namespace

void AddAuthenticationRows() {
    static constexpr char kBeside[] = "CryptoAPI: the RSA operation, MD5 of the same bytes";
    static constexpr char kFloor[] = "a key, RSA-1536, MD5 over the body";
    const Effort effort{.seconds = 0.2};
    AddPair({"request-pair-1k", "pair over 1 KB", kBeside, kFloor, 1.1}, effort, [] { return Request(1024, false); });
    AddPair({"request-pair-1k-hmac", "the same", "the same with a second hash", kFloor, 0}, effort,
            [] { return Request(1024, true); });
    AddPair({"request-pair-1m", "pair over 1 MB", kBeside, kFloor, 1.1}, effort,
            [] { return Request(1 << 20, false); });
    AddPair({"reply-check-1k", "check over 1 KB", kBeside, kFloor, 1.1}, effort, [] { return Reply(1024); });
    AddPair({"reply-check-1m", "check over 1 MB", kBeside, kFloor, 1.1}, effort, [] { return Reply(1 << 20); });
}

}  // namespace qsn::bench
