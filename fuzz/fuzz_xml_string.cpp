// CXMLParser::parseFromString on arbitrary UTF-16 text. A document that
// parses must save (compact and formatted), the saved text must parse, and
// saving that again must give the same text.

#include <document/CXMLParser.h>
#include <text/CString.h>

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <vector>

#include "FuzzCheck.h"

using namespace Trell;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    std::vector<char16_t> units(size / 2 + 1, 0);
    if (size >= 2)
        std::memcpy(units.data(), data, size / 2 * 2);
    CString text(units.data(), unsigned(size / 2));
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
