#include <document/CXMLParser.h>

#include <document/CXMLElement.h>
#include <document/CXMLHelper.h>
#include <document/IXMLParserListener.h>
#include <system/CFile.h>
#include <text/CStringConverter.h>

#include "XMLScan.h"

#include <cstring>

namespace Trell {

namespace {

const char16_t HEADER_UTF8[] = u"<?xml version=\"1.0\" encoding=\"UTF-8\"?>";
const char16_t HEADER_UTF16[] = u"<?xml version=\"1.0\" encoding=\"UTF-16\"?>";

const char16_t* headerOf(CXMLParser::EXMLEncoding encoding, unsigned int& length)
{
    switch (encoding) {
    case CXMLParser::XML_ENCODING_UTF8: length = sizeof(HEADER_UTF8) / sizeof(char16_t) - 1; return HEADER_UTF8;
    case CXMLParser::XML_ENCODING_UTF16: length = sizeof(HEADER_UTF16) / sizeof(char16_t) - 1; return HEADER_UTF16;
    default: length = 0; return nullptr;
    }
}

} // namespace

CXMLParser::CXMLParser()
    : CObject(), m_pListener(nullptr), m_eEncoding(XML_ENCODING_NONE), m_pRoot(nullptr), m_pTextStart(nullptr),
      m_pTextEnd(nullptr), m_uiErrorLine(0), m_uiErrorColumn(0)
{}

CXMLParser::~CXMLParser()
{
    delete m_pRoot;
}

bool CXMLParser::create(EXMLEncoding encoding)
{
    if (encoding != XML_ENCODING_UTF8 && encoding != XML_ENCODING_UTF16)
        return false;
    delete m_pRoot;
    m_pRoot = nullptr;
    clearError();
    m_eEncoding = encoding;
    notifyDataChange();
    return true;
}

void CXMLParser::clearError()
{
    m_uiErrorLine = 0;
    m_uiErrorColumn = 0;
    m_strErrorLine.empty();
}

// ---------------------------------------------------------------------------
// Reading

bool CXMLParser::parseFromString(const CString& text)
{
    m_eEncoding = XML_ENCODING_NONE;
    delete m_pRoot;
    m_pRoot = nullptr;
    clearError();
    const char16_t* start = text.buffer() ? text.buffer() : u"";
    m_pTextEnd = start + text.length();
    return parseText(start);
}

bool CXMLParser::parseText(const char16_t* text)
{
    m_pTextStart = text;
    bool ok = false;
    if (const char16_t* pos = parseHeader(text)) {
        m_pRoot = new CXMLElement(this, nullptr);
        if (!m_pRoot) {
            notifyErrorPos(pos);
        } else if (m_pRoot->parseData(pos)) {
            ok = true;
        } else {
            delete m_pRoot;
            m_pRoot = nullptr;
            notifyErrorPos(pos);
        }
    }
    m_pTextStart = nullptr;
    m_pTextEnd = nullptr;
    return ok;
}

const char16_t* CXMLParser::parseHeader(const char16_t* text)
{
    // Unit by unit, so that a shorter text stops at its terminator.
    if (!(text[0] == u'<' && text[1] == u'?' && text[2] == u'x' && text[3] == u'm' && text[4] == u'l')) {
        m_eEncoding = XML_ENCODING_UTF8;
        return XMLScan::skipBlank(text);
    }
    const char16_t* p = XMLScan::skipBlank(text + 5);
    CString version;
    const char16_t* next = CXMLHelper::readTag(p, u"version", version);
    if (!next || version != u"1.0") {
        notifyErrorPos(p);
        return nullptr;
    }
    p = XMLScan::skipBlank(next);
    CString encoding;
    next = CXMLHelper::readTag(p, u"encoding", encoding);
    if (!next) {
        notifyErrorPos(p);
        return nullptr;
    }
    if (encoding.compareIC(u"UTF-8") == 0) {
        m_eEncoding = XML_ENCODING_UTF8;
    } else if (encoding.compareIC(u"UTF-16") == 0) {
        m_eEncoding = XML_ENCODING_UTF16;
    } else {
        m_eEncoding = XML_ENCODING_NONE;
        notifyErrorPos(p);
        return nullptr;
    }
    p = XMLScan::skipBlank(next);
    if (p[0] != u'?' || p[1] != u'>') {
        notifyErrorPos(p);
        return nullptr;
    }
    return XMLScan::skipBlank(p + 2);
}

bool CXMLParser::parseFromStream(const unsigned char* bytes)
{
    if (!bytes)
        return parseFromString(CString());
    if (bytes[0] == 0xEF && bytes[1] == 0xBB && bytes[2] == 0xBF)
        bytes += 3;
    CString text;
    CStringConverter::convertFromUTF8(bytes, text);
    return parseFromString(text);
}

bool CXMLParser::parseFromFile(const CString& path)
{
    m_eEncoding = XML_ENCODING_NONE;
    delete m_pRoot;
    m_pRoot = nullptr;
    clearError();
    CString text;
    if (!loadToString(path, text)) {
        m_uiErrorLine = 1;
        m_uiErrorColumn = 0;
        return false;
    }
    return parseFromString(text);
}

bool CXMLParser::loadToString(const CString& path, CString& out)
{
    CFile file;
    if (!file.open(path, true))
        return false;
    const unsigned int size = file.getFileSize();
    if (size <= 3 || size > 0x7FFFFFF0u)
        return false;
    // Two zero bytes after the data terminate it as UTF-8 and as UTF-16.
    unsigned char* bytes = static_cast<unsigned char*>(CMemory::malloc(size + 2, 0));
    if (!bytes)
        return false;
    bool ok = file.readData(bytes, size);
    file.close();
    if (ok) {
        bytes[size] = 0;
        bytes[size + 1] = 0;
        if (bytes[0] == 0xFF && bytes[1] == 0xFE) {
            CString text;
            CStringConverter::convertFromUTF16(bytes + 2, size - 2, text);
            out = static_cast<CString&&>(text);
        } else if (bytes[0] == 0xFE && bytes[1] == 0xFF) {
            // Big-endian text is not converted; it reads as an empty document.
            out = u"";
        } else {
            const unsigned char* start = bytes;
            if (bytes[0] == 0xEF && bytes[1] == 0xBB && bytes[2] == 0xBF)
                start += 3;
            CStringConverter::convertFromUTF8(start, out);
        }
    }
    CMemory::free(bytes);
    return ok;
}

void CXMLParser::notifyErrorPos(const char16_t* pos)
{
    unsigned int line = 1;
    unsigned int column = 0;
    const char16_t* lineStart = m_pTextStart;
    if (m_pTextStart && pos) {
        for (const char16_t* p = m_pTextStart; p < pos; ++p) {
            if (*p == u'\r') {
                if (p + 1 < pos && p[1] == u'\n')
                    ++p;
                ++line;
                column = 0;
                lineStart = p + 1;
            } else if (*p == u'\n') {
                ++line;
                column = 0;
                lineStart = p + 1;
            } else {
                ++column;
            }
        }
    }
    m_uiErrorLine = line;
    m_uiErrorColumn = column + 1;
    m_strErrorLine.empty();
    if (lineStart) {
        const char16_t* lineEnd = lineStart;
        while (*lineEnd && *lineEnd != u'\r' && *lineEnd != u'\n')
            ++lineEnd;
        XMLScan::makeString(lineStart, unsigned(lineEnd - lineStart), m_strErrorLine);
    }
}

void CXMLParser::getErrorPos(unsigned int& line, unsigned int& column, CString& lineText) const
{
    line = m_uiErrorLine;
    column = m_uiErrorColumn;
    lineText = m_strErrorLine;
}

// ---------------------------------------------------------------------------
// Writing

bool CXMLParser::saveHeader(CString& out, bool formatted)
{
    unsigned int length;
    const char16_t* header = headerOf(m_eEncoding, length);
    if (!header)
        return false;
    out = header;
    if (formatted)
        out.append(u"\n", 1);
    return true;
}

bool CXMLParser::saveToString(CString& out, bool formatted)
{
    unsigned int headerLength;
    const char16_t* header = headerOf(m_eEncoding, headerLength);
    if (!header)
        return false;
    const unsigned int level = formatted && m_pRoot ? m_pRoot->getLevel() : 0;
    long long bodyLength = 0;
    if (m_pRoot) {
        bodyLength = m_pRoot->measure(formatted, level);
        if (bodyLength < 0)
            return false;
    }
    // Header and body go into one buffer of the exact size.
    const unsigned int total = headerLength + (formatted ? 1 : 0) + unsigned(bodyLength);
    char16_t* buffer = static_cast<char16_t*>(CMemory::malloc((total + 1) * sizeof(char16_t), 0));
    if (!buffer)
        return false;
    std::memcpy(buffer, header, headerLength * sizeof(char16_t));
    char16_t* end = buffer + headerLength;
    if (formatted)
        *end++ = u'\n';
    if (m_pRoot)
        end = m_pRoot->write(end, formatted, level);
    *end = 0;
    out.attach(buffer, int(end - buffer));
    return true;
}

bool CXMLParser::saveToFile(const CString& path, bool formatted)
{
    CString text;
    if (!saveToString(text, formatted))
        return false;
    return saveToFile(path, text);
}

bool CXMLParser::saveToFile(const CString& path, const CString& text)
{
    if (m_eEncoding != XML_ENCODING_UTF8 && m_eEncoding != XML_ENCODING_UTF16)
        return false;
    CFile file;
    if (!file.open(path, false))
        return false;
    bool ok;
    if (m_eEncoding == XML_ENCODING_UTF8) {
        static const unsigned char BOM[3] = {0xEF, 0xBB, 0xBF};
        const unsigned long long size = 3ull * text.length() + 1;
        if (size > 0xFFFFFFF0ull)
            return false;
        unsigned char* bytes = static_cast<unsigned char*>(CMemory::malloc(unsigned(size), 0));
        if (!bytes)
            return false;
        unsigned int written = 0;
        CStringConverter::convertToUTF8(text, bytes, unsigned(size), &written);
        ok = file.writeData(BOM, 3) && file.writeData(bytes, written);
        CMemory::free(bytes);
    } else {
        static const unsigned char BOM[2] = {0xFF, 0xFE};
        ok = file.writeData(BOM, 2) &&
             file.writeData(reinterpret_cast<const unsigned char*>(text.buffer()), text.length() * 2u);
    }
    file.close();
    return ok;
}

bool CXMLParser::updateFile(const CString& path, CDataArray<CString>& from, CDataArray<CString>& to)
{
    if (from.getCount() != to.getCount())
        return false;
    if (from.getCount() == 0)
        return true;
    CString text;
    bool ok = loadToString(path, text);
    if (ok) {
        m_pTextStart = text.buffer() ? text.buffer() : u"";
        ok = parseHeader(m_pTextStart) != nullptr;
        m_pTextStart = nullptr;
    }
    if (ok) {
        for (unsigned int i = 0; i < from.getCount(); ++i) {
            if (from[i].length() > 0)
                text.replaceAll(from[i].buffer(), to[i].buffer() ? to[i].buffer() : u"");
        }
        ok = saveToFile(path, text);
    }
    empty();
    return ok;
}

// ---------------------------------------------------------------------------
// Document

CXMLElement* CXMLParser::addRootElement(const CString& name)
{
    CXMLElement* root = new CXMLElement(this, nullptr);
    if (!root)
        return nullptr;
    root->m_strName = name;
    delete m_pRoot;
    m_pRoot = root;
    notifyDataChange();
    return root;
}

void CXMLParser::deleteRootElement()
{
    if (!m_pRoot)
        return;
    delete m_pRoot;
    m_pRoot = nullptr;
    notifyDataChange();
}

void CXMLParser::empty()
{
    delete m_pRoot;
    m_pRoot = nullptr;
    clearError();
}

void CXMLParser::notifyDataChange()
{
    if (m_pListener)
        m_pListener->onXMLDataChanged(this);
}

} // namespace Trell
