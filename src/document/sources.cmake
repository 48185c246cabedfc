list(APPEND ECS_HEADERS include/document/Document.h)
include(src/document/xml.cmake)
