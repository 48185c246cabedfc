list(APPEND ECS_HEADERS
    include/foundation/Containers.h
)
