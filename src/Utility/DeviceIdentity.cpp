#include "Utility/DeviceIdentity.h"

#include <objbase.h>
#include <wbemidl.h>

#include <cwchar>
#include <string>
#include <string_view>
#include <utility>

#include "Utility/AutomationOwners.h"
#include "Utility/ComOwners.h"
#include "Utility/Guard.h"
#include "Utility/Md5.h"

namespace qsn {
namespace {

constexpr wchar_t kPropertyName[] = L"UUID";
constexpr LONG kSlice = 100;  // ms
constexpr int kSlices = 100;
constexpr std::size_t kLongestUuid = 259;
// In the headers these are unsigned enumerators.
constexpr LONG kTimedOut = WBEM_S_TIMEDOUT;
constexpr HRESULT kNotFound = static_cast<HRESULT>(WBEM_E_NOT_FOUND);

// COM on the calling thread, which may belong to an apartment of either kind already.
class ComOnThread {
public:
    ComOnThread() noexcept : m_result(CoInitialize(nullptr)) {}
    ComOnThread(const ComOnThread&) = delete;
    ComOnThread& operator=(const ComOnThread&) = delete;
    ~ComOnThread() {
        if (SUCCEEDED(m_result)) CoUninitialize();
    }

    HRESULT Result() const noexcept { return m_result == RPC_E_CHANGED_MODE ? S_OK : m_result; }

private:
    HRESULT m_result;
};

HRESULT InitialiseSecurity() {
    const HRESULT hr = CoInitializeSecurity(nullptr, -1, nullptr, nullptr, RPC_C_AUTHN_LEVEL_DEFAULT,
                                            RPC_C_IMP_LEVEL_IMPERSONATE, nullptr, EOAC_NONE, nullptr);
    // The host, or an earlier call, has decided already.
    return hr == RPC_E_TOO_LATE ? S_OK : hr;
}

Outcome<UniqueCom<IWbemServices>> Connect() {
    UniqueCom<IWbemLocator> locator;
    HRESULT hr = CoCreateInstance(CLSID_WbemLocator, nullptr, CLSCTX_INPROC_SERVER, IID_IWbemLocator, Out(locator));
    if (FAILED(hr)) return {hr};
    const UniqueBstr name(SysAllocString(L"ROOT\\CIMV2"));
    if (!name) return {E_OUTOFMEMORY};
    UniqueCom<IWbemServices> services;
    hr = locator->ConnectServer(name.get(), nullptr, nullptr, nullptr, 0, nullptr, nullptr, Out(services));
    if (FAILED(hr)) return {hr};
    hr = CoSetProxyBlanket(services.get(), RPC_C_AUTHN_WINNT, RPC_C_AUTHZ_NONE, nullptr, RPC_C_AUTHN_LEVEL_CALL,
                           RPC_C_IMP_LEVEL_IMPERSONATE, nullptr, EOAC_NONE);
    return {hr, std::move(services)};
}

// WMI can hang for minutes.
Outcome<UniqueCom<IWbemClassObject>> Next(IEnumWbemClassObject* instances, Interruption* giveUp) {
    for (int slice = 0; slice < kSlices; ++slice) {
        UniqueCom<IWbemClassObject> instance;
        ULONG count = 0;
        const HRESULT hr = instances->Next(kSlice, 1, Out(instance), &count);
        if (hr != kTimedOut) return {SUCCEEDED(hr) && !instance ? kNotFound : hr, std::move(instance)};
        if (giveUp) giveUp->Tend();
        if (giveUp && giveUp->IsBrokenOff()) break;
    }
    return {E_ABORT};
}

Outcome<UniqueCom<IWbemClassObject>> FirstInstance(IWbemServices* services, const wchar_t* className,
                                                   Interruption* giveUp) {
    const UniqueBstr language(SysAllocString(L"WQL"));
    const UniqueBstr query(SysAllocString((std::wstring(L"SELECT * FROM ") + className).c_str()));
    if (!language || !query) return {E_OUTOFMEMORY};
    UniqueCom<IEnumWbemClassObject> instances;
    const HRESULT hr = services->ExecQuery(
        language.get(), query.get(), WBEM_FLAG_FORWARD_ONLY | WBEM_FLAG_RETURN_IMMEDIATELY, nullptr, Out(instances));
    if (FAILED(hr)) return {hr};
    return Next(instances.get(), giveUp);
}

Outcome<std::wstring> ReadProperty(IWbemClassObject* instance) {
    HRESULT hr = instance->BeginEnumeration(0);
    while (SUCCEEDED(hr)) {
        UniqueBstr name;
        UniqueVariant value;
        hr = instance->Next(0, Out(name), value.Receive(), nullptr, nullptr);
        if (hr != WBEM_S_NO_ERROR) break;
        if (_wcsicmp(name.get(), kPropertyName) != 0) continue;
        std::wstring text = WmiPropertyText(value.Get());
        instance->EndEnumeration();
        return {S_OK, std::move(text)};
    }
    return {FAILED(hr) ? hr : kNotFound};
}

std::wstring JoinedElements(SAFEARRAY* array) {
    std::wstring text;
    LONG first = 0;
    LONG last = -1;
    if (FAILED(SafeArrayGetLBound(array, 1, &first)) || FAILED(SafeArrayGetUBound(array, 1, &last))) return text;
    for (LONG i = first; i <= last; ++i) {
        UniqueBstr element;
        const HRESULT hr = SafeArrayGetElement(array, &i, static_cast<BSTR*>(Out(element)));
        if (SUCCEEDED(hr) && element) text += element.get();
    }
    return text;
}

Outcome<std::wstring> Query(const wchar_t* className, Interruption* giveUp) {
    const ComOnThread com;
    if (FAILED(com.Result())) return {com.Result()};
    const HRESULT hr = InitialiseSecurity();
    if (FAILED(hr)) return {hr};
    const Outcome<UniqueCom<IWbemServices>> services = Connect();
    if (FAILED(services.result)) return {services.result};
    const auto instance = FirstInstance(services.value.get(), className, giveUp);
    if (FAILED(instance.result)) return {instance.result};
    return ReadProperty(instance.value.get());
}

std::string NarrowByCodeUnit(std::wstring_view text) {
    std::string narrow;
    for (const wchar_t unit : text) narrow += static_cast<char>(unit);
    return narrow;
}

std::wstring UpperCase(const std::string& text) {
    std::wstring upper(text.begin(), text.end());
    for (wchar_t& c : upper)
        if (c >= L'a' && c <= L'z') c = static_cast<wchar_t>(c - L'a' + L'A');
    return upper;
}

}  // namespace

std::wstring WmiPropertyText(const VARIANT& value) {
    if (value.vt == VT_BSTR) return value.bstrVal ? value.bstrVal : L"";
    return value.vt == (VT_ARRAY | VT_BSTR) ? JoinedElements(value.parray) : std::wstring();
}

Outcome<std::wstring> QueryWmiProperty(const wchar_t* className, Interruption* giveUp) {
    return Guarded([&] { return Query(className, giveUp); });
}

Outcome<std::wstring> GetDeviceId(Interruption* giveUp) {
    return Guarded([&]() -> Outcome<std::wstring> {
        const Outcome<std::wstring> uuid = QueryWmiProperty(L"Win32_ComputerSystemProduct", giveUp);
        if (FAILED(uuid.result)) return {uuid.result};
        const std::string hash =
            MD5HexOfString(NarrowByCodeUnit(std::wstring_view(uuid.value).substr(0, kLongestUuid)));
        if (!IsMD5Hex(hash)) return {E_FAIL};
        return {S_OK, UpperCase(hash)};
    });
}

}  // namespace qsn
