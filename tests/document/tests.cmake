# XML and CSV document tests.
list(APPEND ECS_TESTS
    document/DocumentTestUtil.h
    document/CXMLParserTest.cpp
    document/CXMLElementTest.cpp
    document/CXMLHostileTest.cpp
    document/CCSVParserTest.cpp
)
