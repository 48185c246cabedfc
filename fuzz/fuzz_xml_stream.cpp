// CXMLParser::parseFromStream on arbitrary bytes (made zero-terminated).
// A document that parses must survive a save and a parse.

#include <document/CXMLParser.h>
#include <text/CString.h>

#include <cstddef>
#include <cstdint>
#include <vector>

#include "FuzzCheck.h"

using namespace Trell;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    std::vector<unsigned char> bytes(data, data + size);
    bytes.push_back(0);
    CXMLParser parser;
    if (!parser.parseFromStream(bytes.data()))
        return 0;
    CString text;
    FUZZ_CHECK(parser.saveToString(text, size % 2 == 0));
    CXMLParser again;
    FUZZ_CHECK(again.parseFromString(text));
    return 0;
}
