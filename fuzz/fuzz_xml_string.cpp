// CXMLParser::parseFromString on arbitrary UTF-16 text. A document that
// parses must save (compact and formatted), the saved text must parse, and
// saving that again must give the same text.

#include <document/CXMLParser.h>
#include <text/CString.h>

#include <cstddef>
#include <cstdint>

#include "FuzzCheck.h"

using namespace Trell;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const CString text = fuzzInputAsText(data, size);
    CXMLParser parser;
    if (!parser.parseFromString(text)) {
        FUZZ_CHECK(!parser.hasRootElement());
        unsigned int line, column;
        CString lineText;
        parser.getErrorPos(line, column, lineText);
        FUZZ_CHECK(line >= 1 && column >= 1);
        return 0;
    }
    for (bool formatted : {false, true}) {
        CString first;
        FUZZ_CHECK(parser.saveToString(first, formatted));
        CXMLParser again;
        FUZZ_CHECK(again.parseFromString(first));
        CString second;
        FUZZ_CHECK(again.saveToString(second, formatted));
        FUZZ_CHECK(first == second);
        FUZZ_CHECK(first.length() == second.length());
    }
    return 0;
}
