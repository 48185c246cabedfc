list(APPEND ECS_HEADERS
    include/text/CStringConverter.h
)
list(APPEND ECS_SOURCES
    src/text/CStringConverter.cpp
    src/text/CStringConverterFormat.cpp
    src/text/CStringConverterNumber.cpp
    src/text/Utf8Codec.h
    src/text/Utf8Codec.cpp
    src/text/CodePage.h
    src/text/CodePage.cpp
    src/text/GbkTable.inc
)
