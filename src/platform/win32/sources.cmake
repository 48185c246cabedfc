# Win32 implementations of the platform interfaces (chosen by the top-level
# build).
list(APPEND ECS_SOURCES
    src/platform/win32/WideText.h
    src/platform/win32/NativePath.h
    src/platform/win32/NativePath.cpp
    src/platform/win32/PlatformImp.cpp
    src/platform/win32/ReplaceFile.cpp
    src/platform/win32/CImpSyncObject.h
    src/platform/win32/CImpSyncObject.cpp
    src/platform/win32/CImpWaitObject.h
    src/platform/win32/CImpWaitObject.cpp
    src/platform/win32/CImpThread.h
    src/platform/win32/CImpThread.cpp
    src/platform/win32/CImpLibraryLoader.h
    src/platform/win32/CImpLibraryLoader.cpp
    src/platform/win32/CImpPath.h
    src/platform/win32/CImpPath.cpp
    src/platform/win32/CImpFile.h
    src/platform/win32/CImpFile.cpp
    src/platform/win32/CImpFolder.h
    src/platform/win32/CImpFolder.cpp
)

# Processes, the clipboard, sockets, shared memory and MP3 playback.
list(APPEND ECS_SOURCES
    src/platform/win32/CImpSystem.h
    src/platform/win32/CImpSystem.cpp
    src/platform/win32/SocketHandle.h
    src/platform/win32/SocketHandle.cpp
    src/platform/win32/CImpSocketClient.h
    src/platform/win32/CImpSocketClient.cpp
    src/platform/win32/CImpSocketServer.h
    src/platform/win32/CImpSocketServer.cpp
    src/platform/win32/NamedMutex.h
    src/platform/win32/NamedMutex.cpp
    src/platform/win32/CImpShareMemory.h
    src/platform/win32/CImpShareMemory.cpp
    src/platform/win32/CImpPlayerMP3.h
    src/platform/win32/CImpPlayerMP3.cpp
)
