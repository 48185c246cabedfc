# XML and CSV document tests.
list(APPEND ECS_TESTS
    document/DocumentTestUtil.h
    document/CXMLParserTest.cpp
    document/CXMLElementTest.cpp
    document/CXMLHostileTest.cpp
    document/CCSVParserTest.cpp
)
# The allocation-failure tests need the memory manager's test hooks.
if(ECS_MEMORY_TESTING)
    set_property(SOURCE document/CXMLHostileTest.cpp document/CCSVParserTest.cpp APPEND PROPERTY COMPILE_DEFINITIONS ECS_MEMORY_TESTING=1)
endif()
