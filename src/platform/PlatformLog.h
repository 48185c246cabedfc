#pragma once

// The platform classes' log lines. They go through the engine sink of the
// foundation family (foundation/EngineLog.h), which the log installs while
// the library loads; lines logged before that, or with no sink, are dropped.
// Any thread may log.

namespace Trell {

class CString;

namespace PlatformLog {

// "Thread (ID: %ld, Name: %ls) starts." at information level.
void logThreadStarted(unsigned int uiThreadID, const CString& strName);
// "Thread (ID: %ld, Name: %ls) exits." at information level.
void logThreadExited(unsigned int uiThreadID, const CString& strName);
// A warning in the engine category.
void logWarning(const char16_t* pszText);

} // namespace PlatformLog
} // namespace Trell
