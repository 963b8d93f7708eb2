#pragma once

#include <qsn/qsn.h>
#include <windows.h>

namespace qsn {

// Failures of the service's protocol. Some stand both for a result number of the service and for a local failure, and
// cannot be told apart.
inline constexpr HRESULT kServerResult1 = static_cast<HRESULT>(0x84200001);
inline constexpr HRESULT kServerResult2 = static_cast<HRESULT>(0x84200002);
inline constexpr HRESULT kServerResult3 = static_cast<HRESULT>(0x84200003);
inline constexpr HRESULT kReplyNotAuthentic = static_cast<HRESULT>(0x84200004);
inline constexpr HRESULT kReplyWithoutResult = static_cast<HRESULT>(0x84200005);
inline constexpr HRESULT kServerResult6 = static_cast<HRESULT>(0x84200006);
inline constexpr HRESULT kRequestNotSigned = static_cast<HRESULT>(0x84200007);

// The result number of a reply as a result code.
HRESULT ServerResult2HRESULT(int result);

// A result code as the small number that the host gets.
int HRESULT2CallbackResult(HRESULT hr);

// Whether a callback result says that the service no longer accepts the access token.
bool EndsSession(int callbackResult);

}  // namespace qsn
