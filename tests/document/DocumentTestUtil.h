#pragma once

#include <document/CXMLElement.h>
#include <document/CXMLParser.h>
#include <text/CString.h>

#include "system/TempFolder.h"

#include <string>

namespace DocumentTest {

inline std::u16string str(const Trell::CString& s)
{
    return s.buffer() ? std::u16string(s.buffer(), s.length()) : std::u16string();
}

inline Trell::CString cs(const std::u16string& s)
{
    return Trell::CString(s.c_str(), unsigned(s.size()));
}

// A UTF-16LE file's bytes: the mark, then the units.
inline std::string utf16le(const std::u16string& text)
{
    std::string bytes = "\xFF\xFE";
    for (char16_t c : text)
        bytes += {char(c & 0xFF), char(c >> 8)};
    return bytes;
}

struct tagErrorPos
{
    unsigned int line, column;
    std::u16string text;
};

inline tagErrorPos errorOf(const Trell::CXMLParser& parser)
{
    tagErrorPos pos{};
    Trell::CString text;
    parser.getErrorPos(pos.line, pos.column, text);
    pos.text = str(text);
    return pos;
}

// The whole tree in one line, the text included even beside children (which
// saving drops): name{a=1,b=2}'text'[child,child].
inline std::u16string dump(const Trell::CXMLElement* e)
{
    std::u16string out = str(e->getName());
    for (unsigned int i = 0; i < e->getAttributeCount(); ++i) {
        const Trell::CString name = e->getAttributeNameByIndex(i);
        out += (i ? u"," : u"{") + str(name) + u"=" + str(e->getAttributeString(name.buffer()));
    }
    out += e->hasAttributes() ? u"}" : u"";
    if (e->getText().length() > 0)
        out += u"'" + str(e->getText()) + u"'";
    for (unsigned int i = 0; i < e->getChildCount(); ++i)
        out += (i ? u"," : u"[") + dump(e->getChildByIndex(i));
    return out + (e->hasChildren() ? u"]" : u"");
}

} // namespace DocumentTest
