#pragma once

#include <foundation/CDataArray.h>
#include <foundation/CMemory.h>
#include <foundation/CObject.h>
#include <foundation/Export.h>
#include <text/CString.h>

namespace Trell {

class CXMLElement;
class IXMLParserListener;

// One XML document: its encoding and its root element.
//
// The accepted language is deliberately narrow: an optional header
// <?xml version="1.0" encoding="UTF-8|UTF-16"?>, elements, attributes (the
// first of a repeated name wins), text only before an element's first child,
// and one comment right after a start tag and one before each child or the
// end tag. No DTD, no CDATA, no processing instructions, no entities beyond
// the seven of CXMLHelper. Whatever follows the root element is ignored.
// The text ends at its first zero unit.
//
// Hostile input is bounded: names longer than CXMLHelper::MAX_NAME_LENGTH
// and nesting deeper than CXMLHelper::MAX_DEPTH are parse errors, and the
// reader never recurses.
//
// Not synchronised: one document is used by one thread at a time.
class ECS_API CXMLParser : public CObject
{
    TRELL_DECLARE_ALLOCATOR(u"CXMLParser")

public:
    enum EXMLEncoding
    {
        XML_ENCODING_NONE = 0,
        XML_ENCODING_UTF8 = 1,
        XML_ENCODING_UTF16 = 2,
    };

    CXMLParser();
    ~CXMLParser() override;

    // Drops the root and the error state and sets the encoding; NONE is
    // refused (false, nothing changed).
    bool create(EXMLEncoding encoding);
    EXMLEncoding getEncoding() const { return m_eEncoding; }

    // Resets the document, reads the header and the root element. On failure
    // there is no root and getErrorPos tells where the text went wrong.
    bool parseFromString(const CString& text);
    // Zero-terminated UTF-8 bytes; a leading byte-order mark is skipped.
    bool parseFromStream(const unsigned char* bytes);
    // UTF-8 (with or without a byte-order mark) or UTF-16LE with its mark.
    // A file that cannot be read reports line 1, column 0.
    bool parseFromFile(const CString& path);

    // The header, then the root element (if any). False for encoding NONE.
    bool saveToString(CString& out, bool formatted);
    // As saveToString, written as UTF-8 with a byte-order mark or as UTF-16LE
    // with its mark, after the document's encoding.
    bool saveToFile(const CString& path, bool formatted);

    // Replaces from[i] by to[i] (in order, all occurrences) in the file's text
    // without building a tree, and writes the file back in the encoding its
    // header names. False when the counts differ or the file cannot be read,
    // its header is invalid or it cannot be written; a count of 0 is true at
    // once. The document is empty afterwards.
    bool updateFile(const CString& path, CDataArray<CString>& from, CDataArray<CString>& to);

    // Line (from 1) and column (from 1) of the first offending unit and the
    // text of that line.
    void getErrorPos(unsigned int& line, unsigned int& column, CString& lineText) const;

    // Replaces the root with a new element of that name and returns it.
    CXMLElement* addRootElement(const CString& name);
    void deleteRootElement();
    CXMLElement* getRootElement() const { return m_pRoot; }
    bool hasRootElement() const { return m_pRoot != nullptr; }
    // Drops the root and clears the error state; the encoding stays.
    void empty();

    void setListener(IXMLParserListener* listener) { m_pListener = listener; }
    IXMLParserListener* getListener() const { return m_pListener; }
    void notifyDataChange();

protected:
    CXMLParser(const CXMLParser&);
    CXMLParser& operator=(const CXMLParser&);

    // Reads the whole file as text: UTF-16LE after FF FE, nothing after FE FF
    // (an empty text, still true), UTF-8 otherwise (EF BB BF skipped). Files
    // of 3 bytes or less are refused.
    bool loadToString(const CString& path, CString& out);
    // "<?xml version=\"1.0\" encoding=\"UTF-8\"?>" (or UTF-16), plus "\n"
    // when formatted; false for encoding NONE.
    bool saveHeader(CString& out, bool formatted);
    // Writes `text` after the document's encoding (see saveToFile).
    bool saveToFile(const CString& path, const CString& text);
    // Reads the optional header and sets the encoding; returns where the
    // root element starts, or null after setting the error position.
    const char16_t* parseHeader(const char16_t* text);
    // Turns a position of the text being parsed into line, column and line text.
    void notifyErrorPos(const char16_t* pos);
    void clearError();

    friend class CXMLElement;

private:
    bool parseText(const char16_t* text);

    IXMLParserListener* m_pListener;
    EXMLEncoding m_eEncoding;
    CXMLElement* m_pRoot;
    // The text being parsed; set only during parsing.
    const char16_t* m_pTextStart;
    const char16_t* m_pTextEnd;
    unsigned int m_uiErrorLine;
    unsigned int m_uiErrorColumn;
    CString m_strErrorLine;
};

} // namespace Trell
