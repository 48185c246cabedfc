#pragma once

// The one route by which the platform classes log. The platform sits below
// the log, so the log installs itself here as a sink: the system family does
// that while the library loads (static initialisation of the log), before
// any host code runs. Lines logged before that, or with no sink, are dropped.
// The sink is read atomically, so any thread may log.

#include <foundation/CMemory.h>

namespace Trell {

class CString;

namespace PlatformLog {

// Where platform lines go; every member must be set. The texts are complete
// messages in the engine's category.
struct tagSink
{
    TRELL_DECLARE_ALLOCATOR(u"PlatformLog::tagSink")

    // Tested first, so that a silenced log costs no formatting.
    bool (*isInfoEnabled)();
    void (*info)(const char16_t* pszText);
    void (*warning)(const char16_t* pszText);
};

// Installs `pSink` (not owned; it must stay valid while the library is
// loaded), or removes the sink with null.
void setSink(const tagSink* pSink);

// "Thread (ID: %ld, Name: %ls) starts." at information level.
void logThreadStarted(unsigned int uiThreadID, const CString& strName);
// "Thread (ID: %ld, Name: %ls) exits." at information level.
void logThreadExited(unsigned int uiThreadID, const CString& strName);
// A warning in the engine category.
void logWarning(const char16_t* pszText);

} // namespace PlatformLog
} // namespace Trell
