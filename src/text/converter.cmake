list(APPEND ECS_HEADERS
    include/text/CStringConverter.h
)
