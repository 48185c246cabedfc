list(APPEND ECS_HEADERS
    include/text/CStringCore.h
    include/text/CString.h
    include/text/CStringCompare.h
    include/text/CObjectFactory.h
)
list(APPEND ECS_SOURCES
    src/text/BlockScan.h
    src/text/CStringCore.cpp
    src/text/CString.cpp
    src/text/CMemManagerReportPath.cpp
    src/text/CStringCompare.cpp
    src/text/CObjectFactory.cpp
)
