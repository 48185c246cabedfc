list(APPEND ECS_HEADERS
    include/system/ILogOuter.h
    include/system/CLog.h
    include/system/CLogCategory.h
    include/system/CLogEngine.h
    include/system/CLogStudio.h
    include/system/CLogBuild.h
)
list(APPEND ECS_SOURCES
    src/system/CLog.cpp
    src/system/CLogEngine.cpp
    src/system/CLogStudio.cpp
    src/system/CLogBuild.cpp
    src/system/LogSettings.h
)
