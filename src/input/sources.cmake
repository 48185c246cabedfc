list(APPEND ECS_HEADERS
    include/input/Input.h
    include/input/CCursor.h
    include/input/ITouchListener.h
    include/input/CMsgTouch.h
    include/input/CCursorManager.h
    include/input/ISurfaceListener.h
    include/input/CSurface.h
    include/input/CSurfaceNotifier.h)
list(APPEND ECS_SOURCES
    src/input/CCursor.cpp
    src/input/CMsgTouch.cpp
    src/input/CCursorManager.cpp
    src/input/CSurface.cpp)
