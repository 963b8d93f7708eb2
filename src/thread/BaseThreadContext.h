#pragma once

#include <string>

namespace BaseThread {

// What the tasks of a worker thread run against.
class BaseThreadContext {
public:
    explicit BaseThreadContext(const char* name);
    BaseThreadContext(const BaseThreadContext&) = delete;
    BaseThreadContext& operator=(const BaseThreadContext&) = delete;
    virtual ~BaseThreadContext();

    // Called once on the worker thread before its first task.
    virtual bool InitOnThread() { return true; }

private:
    std::string m_strName;
};

}  // namespace BaseThread
