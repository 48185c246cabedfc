list(APPEND ECS_HEADERS include/system/System.h)
