#include "thread/BaseThreadContext.h"

#include "Utility/Trace.h"

namespace BaseThread {

BaseThreadContext::BaseThreadContext(const char* name) : m_strName(name) {
    TraceA("ThreadCtx::%s Created.\n", m_strName.c_str());
}

BaseThreadContext::~BaseThreadContext() { TraceA("ThreadCtx::%s Destroyed.\n", m_strName.c_str()); }

}  // namespace BaseThread
