# POSIX implementations of the platform interfaces (chosen by the top-level build).
list(APPEND ECS_SOURCES
    src/platform/posix/FileIo.h
    src/platform/posix/NativePath.h
    src/platform/posix/NativePath.cpp
    src/platform/posix/PlatformImp.cpp
    src/platform/posix/ReplaceFile.cpp
    src/platform/posix/CImpSyncObject.h
    src/platform/posix/CImpSyncObject.cpp
    src/platform/posix/NamedObject.h
    src/platform/posix/NamedObject.cpp
    src/platform/posix/CImpWaitObject.h
    src/platform/posix/CImpWaitObject.cpp
    src/platform/posix/CImpThread.h
    src/platform/posix/CImpThread.cpp
    src/platform/posix/CImpLibraryLoader.h
    src/platform/posix/CImpLibraryLoader.cpp
    src/platform/posix/CImpPath.h
    src/platform/posix/CImpPath.cpp
    src/platform/posix/CImpFile.h
    src/platform/posix/CImpFile.cpp
    src/platform/posix/CImpFolder.h
    src/platform/posix/CImpFolder.cpp
    src/platform/posix/CImpShareMemory.h
    src/platform/posix/CImpShareMemory.cpp
)
