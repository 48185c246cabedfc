list(APPEND ECS_HEADERS
    include/document/CConfigParser.h
)
list(APPEND ECS_SOURCES
    src/document/CConfigParser.cpp
)
