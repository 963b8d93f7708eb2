#pragma once

namespace qsn::bench {

// Each adds the rows of one subject.
void AddTaskRows();
void AddHandleRows();
void AddRequestRows();
void AddReplyRows();
void AddAuthenticationRows();
void AddCipherRows();
void AddStoreRows();
void AddLifecycleRows();
void AddTraceRows();
void AddDllRows();
void AddIdleRows();

}  // namespace qsn::bench
