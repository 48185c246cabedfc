#include <document/CXMLHelper.h>

#include <text/CString.h>

#include "XMLScan.h"

namespace Trell {

const char16_t* CXMLHelper::skipBlank(const char16_t* text)
{
    return text ? XMLScan::skipBlank(text) : nullptr;
}

const char16_t* CXMLHelper::readTag(const char16_t* text, const char16_t* name, CString& out)
{
    if (!text || !name)
        return nullptr;
    const char16_t* p = XMLScan::skipBlank(text);
    while (*name) {
        if (*p != *name)
            return nullptr;
        ++p;
        ++name;
    }
    p = XMLScan::skipBlank(p);
    if (*p != u'=')
        return nullptr;
    p = XMLScan::skipBlank(p + 1);
    if (*p != u'"' && *p != u'\'')
        return nullptr;
    const char16_t* value = ++p;
    while (*p && *p != u'"' && *p != u'\'')
        ++p;
    if (!*p)
        return nullptr;
    if (p > value)
        XMLScan::makeString(value, unsigned(p - value), out);
    return p + 1;
}

void CXMLHelper::encodeSpecialChars(const char16_t* text, unsigned int length, CString& out)
{
    if (!text) {
        out.empty();
        return;
    }
    unsigned long long total = XMLScan::encodedLength(text, length);
    if (total >= 0x7FFFFFFFull) {
        out.empty();
        return;
    }
    char16_t* buffer = static_cast<char16_t*>(CMemory::malloc(unsigned(total + 1) * sizeof(char16_t), 0));
    if (!buffer) {
        out.empty();
        return;
    }
    *XMLScan::writeEncoded(buffer, text, length) = 0;
    out.attach(buffer, int(total));
}

void CXMLHelper::decodeSpecialChars(const char16_t* text, unsigned int length, CString& out)
{
    if (!text) {
        out.empty();
        return;
    }
    bool hasAmpersand = false;
    for (unsigned int i = 0; i < length && !hasAmpersand; ++i)
        hasAmpersand = text[i] == u'&';
    if (!XMLScan::makeDecoded(text, length, hasAmpersand, out))
        out.empty();
}

unsigned long long CXMLHelper::getEncodedLength(const char16_t* text, unsigned int length)
{
    return text ? XMLScan::encodedLength(text, length) : 0;
}

char16_t* CXMLHelper::writeEncoded(char16_t* out, const char16_t* text, unsigned int length)
{
    return text ? XMLScan::writeEncoded(out, text, length) : out;
}

} // namespace Trell
