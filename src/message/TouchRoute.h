#pragma once

// The way from CMessageCenter::pushTouchMessage to the cursor managers of
// the surfaces, which belong to a family above this one: that family
// installs the route when the library is loaded. Internal; exported for the
// test programs only.

#include <foundation/Export.h>

namespace Trell {
namespace TouchRoute {

// Hands one touch point (status 0 down, 1 move, 2 up) to the cursor
// manager of the surface. Called on the pushing thread, no lock held.
typedef void (*PFN_ROUTE)(unsigned int uiSurface, unsigned int uiCursor, int iX, int iY, unsigned int uiStatus);

// Replaces the route (null: touch points are dropped); returns the previous one.
ECS_API PFN_ROUTE install(PFN_ROUTE pfnRoute);

} // namespace TouchRoute
} // namespace Trell
