#pragma once

#include <foundation/CMemory.h>
#include <foundation/Export.h>

namespace Trell {

class CXMLParser;

// Told about every change made to a document through the element and parser
// editing calls (not about the building done by a parse). A parser never
// owns its listener.
class ECS_API IXMLParserListener
{
    TRELL_DECLARE_ALLOCATOR(u"IXMLParserListener")

public:
    virtual ~IXMLParserListener() {}

    // Called on the thread that made the change, after it was made.
    virtual void onXMLDataChanged(CXMLParser* parser) = 0;
};

} // namespace Trell
