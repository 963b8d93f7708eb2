#pragma once

#include <cstdint>
#include <string>
#include <utility>

#include "tasks/QSNTask.h"

namespace qsn {

// Sets a configuration item of the session to a text.
class ConfigTextTask : public QSNTaskBase {
protected:
    ConfigTextTask(const char* constructorName, int item, std::wstring text)
        : QSNTaskBase(constructorName), m_nItem(item), m_strText(std::move(text)) {}

private:
    HRESULT RunIn(QSNThreadContext& context) final { return context.SetConfig(m_nItem, m_strText.c_str()); }

    int m_nItem;
    std::wstring m_strText;
};

// Sets a configuration item of the session to a number.
class ConfigNumberTask : public QSNTaskBase {
protected:
    ConfigNumberTask(const char* constructorName, int item, std::uint32_t number)
        : QSNTaskBase(constructorName), m_nItem(item), m_nNumber(number) {}

private:
    HRESULT RunIn(QSNThreadContext& context) final { return context.SetConfig(m_nItem, &m_nNumber); }

    int m_nItem;
    std::uint32_t m_nNumber;
};

class ConfigLangTask final : public ConfigTextTask {
public:
    explicit ConfigLangTask(std::wstring language);
};

class SetPlatformInfoTask final : public ConfigNumberTask {
public:
    explicit SetPlatformInfoTask(std::uint32_t platform);
};

class ConfigExtendDataTask final : public ConfigTextTask {
public:
    explicit ConfigExtendDataTask(std::wstring extendData);
};

class EnableCheckTokenRoutineTask final : public ConfigNumberTask {
public:
    explicit EnableCheckTokenRoutineTask(std::uint32_t enable);
};

class EnableTestbedServerTask final : public ConfigNumberTask {
public:
    explicit EnableTestbedServerTask(std::uint32_t enable);
};

}  // namespace qsn
