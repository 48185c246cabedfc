list(APPEND ECS_HEADERS
    include/document/IXMLParserListener.h
    include/document/CXMLHelper.h
    include/document/CXMLElement.h
    include/document/CXMLParser.h
    include/document/CCSVParser.h
)
# XMLReader.cpp and XMLWriter.cpp hold CXMLElement's reader and writer.
list(APPEND ECS_SOURCES
    src/document/CXMLHelper.cpp
    src/document/CXMLElement.cpp
    src/document/XMLReader.cpp
    src/document/XMLWriter.cpp
    src/document/CXMLParser.cpp
    src/document/CCSVParser.cpp
)
