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

# Services still to come on this platform; each placeholder fails cleanly
# and is replaced by its implementation file.
list(APPEND ECS_SOURCES
    src/platform/win32/SystemStub.cpp
    src/platform/win32/ShareMemoryStub.cpp
    src/platform/win32/SocketStub.cpp
    src/platform/win32/PlayerMP3Stub.cpp
)
