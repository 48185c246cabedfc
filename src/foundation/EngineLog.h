#pragma once

// The one route by which the families below the log (foundation, platform)
// write lines in the engine's category. The log sits above them, so it
// installs itself here as a sink while the library loads (static
// initialisation of the log), before any host code runs. Lines logged before
// that, or with no sink, are dropped. The sink is read atomically, so any
// thread may log.

#include <foundation/CMemory.h>

namespace Trell {
namespace EngineLog {

// Where the lines go; every member must be set. The texts are complete
// messages in the engine's category; each level's switch is the log's own.
struct tagSink
{
    TRELL_DECLARE_ALLOCATOR(u"EngineLog::tagSink")

    // Tested first, so that a silenced log costs no formatting.
    bool (*isInfoEnabled)();
    void (*info)(const char16_t* pszText);
    void (*warning)(const char16_t* pszText);
    void (*error)(const char16_t* pszText);
};

// Installs `pSink` (not owned; it must stay valid while the library is
// loaded), or removes the sink with null.
void setSink(const tagSink* pSink);
// The installed sink, or null.
const tagSink* getSink();

// A warning, an error in the engine category (dropped without a sink).
void warning(const char16_t* pszText);
void error(const char16_t* pszText);

} // namespace EngineLog
} // namespace Trell
