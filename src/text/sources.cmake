list(APPEND ECS_HEADERS
    include/text/Text.h
    include/text/CCacheObject.h
    include/text/tagNameValue.h
    include/text/tagFileData.h
)
list(APPEND ECS_SOURCES src/text/CCacheObject.cpp)
include(src/text/string.cmake)
include(src/text/converter.cmake)
