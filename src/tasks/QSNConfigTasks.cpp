#include "tasks/QSNConfigTasks.h"

namespace qsn {

ConfigLangTask::ConfigLangTask(std::wstring language)
    : ConfigTextTask("ConfigLangTask::ConfigLangTask", QSNCFG_SET_LANGUAGE, std::move(language)) {}

SetPlatformInfoTask::SetPlatformInfoTask(std::uint32_t platform)
    : ConfigNumberTask("SetPlatformInfoTask::SetPlatformInfoTask", QSNCFG_SET_PLATFORM_INFO, platform) {}

ConfigExtendDataTask::ConfigExtendDataTask(std::wstring extendData)
    : ConfigTextTask("ConfigExtendDataTask::ConfigExtendDataTask", QSNCFG_SET_EXTEND_DATA, std::move(extendData)) {}

EnableCheckTokenRoutineTask::EnableCheckTokenRoutineTask(std::uint32_t enable)
    : ConfigNumberTask("EnableCheckTokenRoutineTask::EnableCheckTokenRoutineTask", QSNCFG_ENABLE_CHECK_TOKEN_ROUTINE,
                       enable) {}

EnableTestbedServerTask::EnableTestbedServerTask(std::uint32_t enable)
    : ConfigNumberTask("EnableTestbedServerTask::EnableTestbedServerTask", QSNCFG_USE_TESTBED, enable) {}

}  // namespace qsn
