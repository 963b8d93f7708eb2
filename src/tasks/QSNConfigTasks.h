#pragma once

#include <cstdint>
#include <string>
#include <utility>

#include "tasks/QSNTask.h"

namespace qsn {

// Sets a configuration item of the session.
template <TaskName name, int item, class Value>
class ConfigTask final : public QSNTaskBase {
public:
    explicit ConfigTask(Value value) : QSNTaskBase(name.text), m_value(std::move(value)) {}

private:
    HRESULT RunIn(QSNThreadContext& context) override { return context.SetConfig(item, DataOf(m_value)); }

    static const void* DataOf(const std::wstring& text) { return text.c_str(); }
    static const void* DataOf(const std::uint32_t& number) { return &number; }

    Value m_value;
};

using ConfigLangTask = ConfigTask<"ConfigLangTask", QSNCFG_SET_LANGUAGE, std::wstring>;
using ConfigExtendDataTask = ConfigTask<"ConfigExtendDataTask", QSNCFG_SET_EXTEND_DATA, std::wstring>;
using SetPlatformInfoTask = ConfigTask<"SetPlatformInfoTask", QSNCFG_SET_PLATFORM_INFO, std::uint32_t>;
using EnableCheckTokenRoutineTask =
    ConfigTask<"EnableCheckTokenRoutineTask", QSNCFG_ENABLE_CHECK_TOKEN_ROUTINE, std::uint32_t>;
using EnableTestbedServerTask = ConfigTask<"EnableTestbedServerTask", QSNCFG_USE_TESTBED, std::uint32_t>;

}  // namespace qsn
