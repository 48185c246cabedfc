list(APPEND ECS_HEADERS include/text/Text.h)
include(src/text/string.cmake)
include(src/text/converter.cmake)
