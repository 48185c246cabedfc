#pragma once

#include <foundation/Export.h>

namespace Trell {

// The one way out for this family's warnings: the engine log's "Warning"
// level (written when the configuration enables it). Internal; tests install
// a sink to see the lines as well.
namespace MessageLog {

typedef void (*PFN_WARNING_SINK)(const char16_t* pText);

void writeWarning(const char16_t* pText);

// Null removes the test sink; the log still receives every warning.
ECS_API void setWarningSink(PFN_WARNING_SINK pfnSink);

} // namespace MessageLog
} // namespace Trell
