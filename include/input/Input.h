#pragma once

// Touch input and surfaces: touch points, their tracks and press
// repetition; surface descriptors and their notifications.
#include <input/CCursor.h>
#include <input/CCursorManager.h>
#include <input/CMsgTouch.h>
#include <input/CSurface.h>
#include <input/CSurfaceNotifier.h>
#include <input/ISurfaceListener.h>
#include <input/ITouchListener.h>
