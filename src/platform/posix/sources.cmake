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
    src/platform/posix/Utf8Text.h
    src/platform/posix/Utf8Text.cpp
    src/platform/posix/CommandLine.h
    src/platform/posix/CommandLine.cpp
    src/platform/posix/X11Clipboard.h
    src/platform/posix/X11Clipboard.cpp
    src/platform/posix/Clipboard.h
    src/platform/posix/Clipboard.cpp
    src/platform/posix/CImpSystem.h
    src/platform/posix/CImpSystem.cpp
    src/platform/posix/CImpShareMemory.h
    src/platform/posix/CImpShareMemory.cpp
    src/platform/posix/SocketDescriptor.h
    src/platform/posix/SocketDescriptor.cpp
    src/platform/posix/SocketOptions.h
    src/platform/posix/SocketOptions.cpp
    src/platform/posix/CImpSocketClient.h
    src/platform/posix/CImpSocketClient.cpp
    src/platform/posix/CImpSocketServer.h
    src/platform/posix/CImpSocketServer.cpp
)

# The built-in MP3 player plays through GStreamer, linked privately: no
# GStreamer header reaches a public header. A build for a target without
# GStreamer (a 32-bit build beside 64-bit packages) turns it off: the player
# then loads nothing and says so in the log.
option(ECS_AUDIO_GSTREAMER "Play MP3 through GStreamer" ON)
list(APPEND ECS_SOURCES src/platform/posix/CImpPlayerMP3.h)
if(ECS_AUDIO_GSTREAMER)
    list(APPEND ECS_SOURCES src/platform/posix/CImpPlayerMP3.cpp)
    find_package(PkgConfig REQUIRED)
    pkg_check_modules(ECS_GSTREAMER REQUIRED IMPORTED_TARGET GLOBAL gstreamer-1.0)
    cmake_language(DEFER CALL target_link_libraries EngineCoreSystem PRIVATE PkgConfig::ECS_GSTREAMER)
else()
    list(APPEND ECS_SOURCES src/platform/posix/CImpPlayerMP3Unavailable.cpp)
    message(STATUS "No GStreamer: the built-in MP3 player loads nothing")
endif()
