list(APPEND ECS_HEADERS
    include/text/CStringCore.h
    include/text/CString.h
)
