list(APPEND ECS_HEADERS
    include/configuration/Configuration.h
    include/configuration/CConfigParser.h
)
list(APPEND ECS_SOURCES
    src/configuration/CConfigParser.cpp
)
