#include <algorithm>
#include <array>

#include "Utility/Text.h"
#include "Utility/Trace.h"
#include "engine/QSNThreadContext.h"

namespace qsn {
namespace {

constexpr std::array<int, 5> kKnownItems{QSNCFG_SET_LANGUAGE, QSNCFG_SET_PLATFORM_INFO, QSNCFG_SET_EXTEND_DATA,
                                         QSNCFG_ENABLE_CHECK_TOKEN_ROUTINE, QSNCFG_USE_TESTBED};

std::string TextItem(const void* data) { return WideToUtf8(static_cast<const wchar_t*>(data)); }
std::uint32_t NumberItem(const void* data) { return *static_cast<const std::uint32_t*>(data); }

}  // namespace

HRESULT QSNThreadContext::SetConfig(int id, const void* data) {
    TraceW(L"Config ID = %d\n", id);
    if (std::ranges::find(kKnownItems, id) == kKnownItems.end()) return E_NOTIMPL;
    if (!data) return E_INVALIDARG;
    switch (id) {
        case QSNCFG_SET_LANGUAGE: m_strLanguage = TextItem(data); break;
        case QSNCFG_SET_PLATFORM_INFO: m_nPlatformInfo = NumberItem(data); break;
        case QSNCFG_SET_EXTEND_DATA: m_strExtendData = TextItem(data); break;
        case QSNCFG_ENABLE_CHECK_TOKEN_ROUTINE: m_nCheckTokenRoutine = NumberItem(data); break;
        default:
            m_nUseTestbed = NumberItem(data);
            TraceW(L"QSNCFG_USE_TESTBED = %d\n", static_cast<int>(m_nUseTestbed));
            break;
    }
    return S_OK;
}

}  // namespace qsn
