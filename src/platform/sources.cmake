list(APPEND ECS_HEADERS include/platform/Platform.h)
