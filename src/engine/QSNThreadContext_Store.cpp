#include "Utility/RegistryResult.h"
#include "Utility/Trace.h"
#include "engine/QSNThreadContext.h"
#include "sso/CheckSingleSignOn.h"

// Each through a store of its own, whose watcher does not run.

namespace qsn {
namespace {

HRESULT Found(HRESULT read) { return read == S_FALSE ? E_FAIL : FromRegistry(read); }

}  // namespace

HRESULT QSNThreadContext::GetRefreshTokenFromReg(SecretText* token) {
    TraceA("GetRefreshTokenFromReg\n");
    CheckSingleSignOn store;
    StoreStatus status = StoreStatus::kUnknown;
    return Found(store.GetRefreshToken(token, &status));
}

HRESULT QSNThreadContext::GetMemberTokenFromReg(std::string* token) {
    TraceA("GetMemberTokenFromReg\n");
    CheckSingleSignOn store;
    StoreStatus status = StoreStatus::kUnknown;
    return Found(store.GetMemberToken(token, &status));
}

HRESULT QSNThreadContext::GetPublicKeyAndIDFromReg(std::string* key, std::uint32_t* id) {
    TraceA("GetPublicKeyAndIDFromReg\n");
    CheckSingleSignOn store;
    const HRESULT hr = Found(store.GetPublicKey(key));
    return FAILED(hr) ? hr : Found(store.GetPublicID(id));
}

HRESULT QSNThreadContext::SetPublicKeyAndIDFromReg(const std::string& key, std::uint32_t id) {
    TraceA("SetPublicKeyAndIDFromReg\n");
    TraceA("SetPublicID: %d", static_cast<int>(id));
    CheckSingleSignOn store;
    const HRESULT keyResult = FromRegistry(store.SetPublicKey(key));
    const HRESULT idResult = FromRegistry(store.SetPublicID(id));
    return FAILED(keyResult) ? keyResult : idResult;
}

}  // namespace qsn
