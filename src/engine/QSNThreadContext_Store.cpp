#include "Utility/Trace.h"
#include "engine/QSNThreadContext.h"
#include "sso/CheckSingleSignOn.h"

namespace qsn {
namespace {

// The shared tokens for the time of one call. It tells nobody of changes, and so starts no thread.
class StoreForOneCall {
public:
    StoreForOneCall() { m_store.Init(nullptr); }
    StoreForOneCall(const StoreForOneCall&) = delete;
    StoreForOneCall& operator=(const StoreForOneCall&) = delete;
    ~StoreForOneCall() { m_store.Uninit(); }

    CheckSingleSignOn* operator->() noexcept { return &m_store; }

private:
    CheckSingleSignOn m_store;
};

}  // namespace

HRESULT QSNThreadContext::GetRefreshTokenFromReg(SecretText* token) {
    TraceA("GetRefreshTokenFromReg\n");
    StoreForOneCall store;
    StoreStatus status = StoreStatus::kUnknown;
    const HRESULT hr = store->GetRefreshToken(token, &status);
    return hr == S_FALSE ? E_FAIL : hr;
}

HRESULT QSNThreadContext::GetMemberTokenFromReg(std::string* token) {
    TraceA("GetMemberTokenFromReg\n");
    StoreForOneCall store;
    StoreStatus status = StoreStatus::kUnknown;
    const HRESULT hr = store->GetMemberToken(token, &status);
    return hr == S_FALSE ? E_FAIL : hr;
}

HRESULT QSNThreadContext::GetPublicKeyAndIDFromReg(std::string* key, std::uint32_t* id) {
    TraceA("GetPublicKeyAndIDFromReg\n");
    StoreForOneCall store;
    const HRESULT hr = store->GetPublicKey(key);
    return FAILED(hr) ? hr : store->GetPublicID(id);
}

HRESULT QSNThreadContext::SetPublicKeyAndIDFromReg(const std::string& key, std::uint32_t id) {
    TraceA("SetPublicKeyAndIDFromReg\n");
    TraceA("SetPublicID: %d", static_cast<int>(id));
    StoreForOneCall store;
    const HRESULT keyResult = store->SetPublicKey(key);
    const HRESULT idResult = store->SetPublicID(id);
    return keyResult == S_OK ? idResult : keyResult;
}

HRESULT QSNThreadContext::SetMemberTokenInReg(const std::string& token) {
    StoreForOneCall store;
    return store->SetMemberToken(token);
}

}  // namespace qsn
