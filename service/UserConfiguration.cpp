#include "UserConfiguration.h"

// wincrypt.h needs windows.h before it.
#include <wincrypt.h>

#include <system_error>

namespace qsn::service {
namespace {

constexpr wchar_t kSettingsKey[] = L"Software\\Microsoft\\Windows\\CurrentVersion\\Internet Settings";
constexpr wchar_t kProxyEnable[] = L"ProxyEnable";
constexpr wchar_t kProxyServer[] = L"ProxyServer";

void Require(LSTATUS status, const char* call) {
    if (status != ERROR_SUCCESS) throw std::system_error(status, std::system_category(), call);
}

std::optional<DWORD> ReadNumber(HKEY key, const wchar_t* name) {
    DWORD value = 0;
    DWORD size = sizeof value;
    const LSTATUS status = RegGetValueW(key, nullptr, name, RRF_RT_REG_DWORD, nullptr, &value, &size);
    return status == ERROR_SUCCESS ? std::optional(value) : std::nullopt;
}

std::optional<std::wstring> ReadText(HKEY key, const wchar_t* name) {
    DWORD size = 0;
    if (RegGetValueW(key, nullptr, name, RRF_RT_REG_SZ, nullptr, nullptr, &size) != ERROR_SUCCESS) return std::nullopt;
    std::wstring value(size / sizeof(wchar_t), L'\0');
    if (RegGetValueW(key, nullptr, name, RRF_RT_REG_SZ, nullptr, value.data(), &size) != ERROR_SUCCESS) {
        return std::nullopt;
    }
    value.resize(wcslen(value.c_str()));
    return value;
}

LSTATUS WriteNumber(HKEY key, const wchar_t* name, DWORD value) {
    return RegSetValueExW(key, name, 0, REG_DWORD, reinterpret_cast<const BYTE*>(&value), sizeof value);
}

LSTATUS WriteText(HKEY key, const wchar_t* name, const std::wstring& value) {
    return RegSetValueExW(key, name, 0, REG_SZ, reinterpret_cast<const BYTE*>(value.c_str()),
                          static_cast<DWORD>((value.size() + 1) * sizeof(wchar_t)));
}

struct StoreCloser {
    void operator()(void* store) const { CertCloseStore(store, 0); }
};
using CertificateStore = std::unique_ptr<void, StoreCloser>;

struct CertificateCloser {
    void operator()(const CERT_CONTEXT* certificate) const { CertFreeCertificateContext(certificate); }
};
using Certificate = std::unique_ptr<const CERT_CONTEXT, CertificateCloser>;

CertificateStore OpenRoots() {
    return CertificateStore(CertOpenStore(CERT_STORE_PROV_SYSTEM_W, 0, 0, CERT_SYSTEM_STORE_CURRENT_USER, L"Root"));
}

// Closing alone does not write a deletion under Wine.
bool Commit(HCERTSTORE store) { return CertControlStore(store, 0, CERT_STORE_CTRL_COMMIT, nullptr) != FALSE; }

void Trust(std::span<const std::uint8_t> der) {
    const CertificateStore roots = OpenRoots();
    if (!roots ||
        !CertAddEncodedCertificateToStore(roots.get(), X509_ASN_ENCODING, der.data(), static_cast<DWORD>(der.size()),
                                          CERT_STORE_ADD_REPLACE_EXISTING, nullptr) ||
        !Commit(roots.get())) {
        throw std::system_error(static_cast<int>(GetLastError()), std::system_category(), "trusting the authority");
    }
}

void Distrust(std::span<const std::uint8_t> der) {
    const CertificateStore roots = OpenRoots();
    const Certificate wanted(
        CertCreateCertificateContext(X509_ASN_ENCODING, der.data(), static_cast<DWORD>(der.size())));
    if (!roots || !wanted) return;
    // Deleting frees the context as well, whether or not it succeeds.
    if (const CERT_CONTEXT* found =
            CertFindCertificateInStore(roots.get(), X509_ASN_ENCODING, 0, CERT_FIND_EXISTING, wanted.get(), nullptr)) {
        CertDeleteCertificateFromStore(found);
        Commit(roots.get());
    }
}

}  // namespace

UserConfiguration::UserConfiguration(std::uint16_t port, std::span<const std::uint8_t> authorityDer)
    : authorityDer_(authorityDer.begin(), authorityDer.end()) {
    HKEY key = nullptr;
    Require(RegCreateKeyExW(HKEY_CURRENT_USER, kSettingsKey, 0, nullptr, 0, KEY_QUERY_VALUE | KEY_SET_VALUE, nullptr,
                            &key, nullptr),
            "RegCreateKeyExW");
    settings_.reset(key);
    enabledBefore_ = ReadNumber(key, kProxyEnable);
    serverBefore_ = ReadText(key, kProxyServer);
    Trust(authorityDer_);
    try {
        Require(WriteText(key, kProxyServer, L"127.0.0.1:" + std::to_wstring(port)), "RegSetValueExW");
        Require(WriteNumber(key, kProxyEnable, 1), "RegSetValueExW");
    } catch (const std::system_error&) {
        Restore();
        throw;
    }
}

UserConfiguration::~UserConfiguration() { Restore(); }

void UserConfiguration::Restore() noexcept {
    if (enabledBefore_) {
        WriteNumber(settings_.get(), kProxyEnable, *enabledBefore_);
    } else {
        RegDeleteValueW(settings_.get(), kProxyEnable);
    }
    if (serverBefore_) {
        WriteText(settings_.get(), kProxyServer, *serverBefore_);
    } else {
        RegDeleteValueW(settings_.get(), kProxyServer);
    }
    Distrust(authorityDer_);
}

}  // namespace qsn::service
