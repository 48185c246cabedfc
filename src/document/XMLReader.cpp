#include <document/CXMLElement.h>

#include <document/CXMLHelper.h>
#include <document/CXMLParser.h>

#include "XMLScan.h"

#include <cstring>

// The reader of CXMLElement: parseFrom, parseData and parseAttribute.

namespace Trell {

bool CXMLElement::parseFrom(const char16_t* text)
{
    m_mapAttributes.clear();
    clearChildrenSilently();
    m_strText.empty();
    if (!text)
        return false;
    const char16_t* pos = text;
    if (parseData(pos)) {
        notifyDataChange();
        return true;
    }
    m_mapAttributes.clear();
    clearChildrenSilently();
    m_strText.empty();
    if (m_pParser) {
        m_pParser->m_pTextStart = text;
        m_pParser->notifyErrorPos(pos);
        m_pParser->m_pTextStart = nullptr;
    }
    return false;
}

namespace {

// Unit by unit, so that a text shorter than the name stops at its
// terminator (a name never holds a zero unit).
inline bool matchesName(const char16_t* p, const char16_t* name, unsigned int length)
{
    unsigned int i = 0;
    while (i < length && p[i] == name[i])
        ++i;
    return i == length;
}

inline bool startsComment(const char16_t* p)
{
    return p[0] == u'<' && p[1] == u'!' && p[2] == u'-' && p[3] == u'-';
}

// Skips one comment starting at `p`: everything up to and including the next
// "-->", or to the end of the text when there is none.
inline const char16_t* skipComment(const char16_t* p)
{
    p += 4;
    for (;; ++p) {
        if (*p == 0)
            return p;
        if (p[0] == u'-' && p[1] == u'-' && p[2] == u'>')
            return p + 3;
    }
}

inline const char16_t* skipBlankAndComment(const char16_t* p)
{
    p = XMLScan::skipBlank(p);
    if (startsComment(p))
        p = XMLScan::skipBlank(skipComment(p));
    return p;
}

// Text runs to the next '<', a value to the next quote of either kind.
inline const char16_t* scanText(const char16_t* p, bool& hasAmpersand)
{
    return XMLScan::scanTo<u'<', u'<'>(p, hasAmpersand);
}

inline const char16_t* scanValue(const char16_t* p, bool& hasAmpersand)
{
    return XMLScan::scanTo<u'"', u'\''>(p, hasAmpersand);
}

// Blanks, '<' and the name of a start tag, stored in `name`.
inline bool readTagName(const char16_t*& p, CString& name)
{
    p = XMLScan::skipBlank(p);
    if (*p != u'<')
        return false;
    ++p;
    if (!XMLScan::isNameStart(*p))
        return false;
    const char16_t* start = p;
    p = XMLScan::skipName(p + 1);
    const unsigned int length = unsigned(p - start);
    if (length > CXMLHelper::MAX_NAME_LENGTH || !XMLScan::makeString(start, length, name)) {
        p = start;
        return false;
    }
    return true;
}

// The end of a start tag after its attributes: "/>" (then `empty`), or ">"
// followed by blanks, at most one comment, and more text.
inline bool readTagEnd(const char16_t*& p, bool& empty)
{
    p = XMLScan::skipBlank(p);
    empty = p[0] == u'/' && p[1] == u'>';
    if (empty) {
        p += 2;
        return true;
    }
    if (*p != u'>')
        return false;
    p = skipBlankAndComment(p + 1);
    return *p != 0;
}

// An element's text, when a start tag is followed by something other than a
// tag: up to the next '<', entities decoded.
inline bool readText(const char16_t*& p, CString& text)
{
    if (*p == u'<')
        return true;
    const char16_t* start = p;
    bool hasAmpersand;
    p = scanText(p, hasAmpersand);
    if (XMLScan::makeDecoded(start, unsigned(p - start), hasAmpersand, text))
        return true;
    p = start;
    return false;
}

// The end tag of `name`, exactly: no blanks inside.
inline bool atEndTag(const char16_t* p, const CString& name)
{
    const unsigned int length = name.length();
    return p[0] == u'<' && p[1] == u'/' && matchesName(p + 2, name.buffer(), length) && p[2 + length] == u'>';
}

// One attribute as read from the text, before anything is allocated for it.
struct tagAttributeSpan
{
    TRELL_DECLARE_ALLOCATOR(u"CXMLElement::tagAttributeSpan")

    const char16_t* pName;
    const char16_t* pValue;
    unsigned int uiNameLength;
    // Raw length, entities not yet decoded.
    unsigned int uiValueLength;
    bool bHasAmpersand;
};

// Attributes are collected this many at a time and then entered into the map
// together; an element with more enters them in several batches.
constexpr unsigned int ATTRIBUTE_BATCH = 32;

// Makes the map node of one attribute: key and value at their final sizes,
// the value decoded straight into its buffer. Null when memory runs out.
CXMLElement::AttributeMap::tagNode* makeAttributeNode(const tagAttributeSpan& span)
{
    typedef CXMLElement::AttributeMap::tagNode Node;
    char16_t* key = XMLScan::copyToBuffer(span.pName, span.uiNameLength);
    if (!key)
        return nullptr;
    unsigned int valueLength;
    char16_t* valueBuffer = XMLScan::decodeToBuffer(span.pValue, span.uiValueLength, span.bHasAmpersand, valueLength);
    CString* value = valueBuffer ? new CString(valueBuffer, valueLength, CString::tagAdopt()) : nullptr;
    Node* node =
        value ? new Node(std::piecewise_construct, value, key, span.uiNameLength, CString::tagAdopt()) : nullptr;
    if (!node) {
        if (value)
            delete value;
        else if (valueBuffer)
            CMemory::free(valueBuffer);
        CMemory::free(key);
    }
    return node;
}

// Enters a batch of attributes (in document order) into `map`. They are
// ordered by name with a stable insertion sort, so of a repeated name the
// first comes first and the later ones are skipped; the map then links the
// whole sorted batch at once. False when memory runs out, with `failedAt`
// the value of the attribute that could not be made.
bool commitAttributes(CXMLElement::AttributeMap& map, const tagAttributeSpan* spans, unsigned int count,
                      const char16_t*& failedAt)
{
    typedef CXMLElement::AttributeMap::tagNode Node;
    unsigned char order[ATTRIBUTE_BATCH];
    for (unsigned int i = 0; i < count; ++i) {
        const tagAttributeSpan& span = spans[i];
        unsigned int j = i;
        // Attributes often come already in order: one comparison each then.
        while (j > 0) {
            const tagAttributeSpan& before = spans[order[j - 1]];
            if (XMLScan::compareNames(before.pName, before.uiNameLength, span.pName, span.uiNameLength) <= 0)
                break;
            order[j] = order[j - 1];
            --j;
        }
        order[j] = static_cast<unsigned char>(i);
    }
    Node* nodes[ATTRIBUTE_BATCH];
    unsigned int made = 0;
    const tagAttributeSpan* previous = nullptr;
    for (unsigned int i = 0; i < count; ++i) {
        const tagAttributeSpan& span = spans[order[i]];
        if (previous &&
            XMLScan::compareNames(previous->pName, previous->uiNameLength, span.pName, span.uiNameLength) == 0)
            continue;
        previous = &span;
        Node* node = makeAttributeNode(span);
        if (!node) {
            while (made > 0) {
                Node* done = nodes[--made];
                delete done->value;
                delete done;
            }
            failedAt = span.pValue;
            return false;
        }
        nodes[made++] = node;
    }
    map.adoptSorted(nodes, made);
    return true;
}

// Element reading keeps the children of every open element here until the
// element's end tag, so that each child array is allocated once at its final
// size. The elements held are owned by the list until they are handed over.
class CPendingElements
{
    TRELL_DECLARE_ALLOCATOR(u"CXMLElement::CPendingElements")

public:
    CPendingElements() : m_ppItems(m_aInline), m_uiCount(0), m_uiCapacity(INLINE_CAPACITY) {}
    ~CPendingElements()
    {
        if (m_ppItems != m_aInline)
            CMemory::free(m_ppItems);
    }
    CPendingElements(const CPendingElements&) = delete;
    CPendingElements& operator=(const CPendingElements&) = delete;

    bool push(CXMLElement* element)
    {
        if (m_uiCount == m_uiCapacity && !grow())
            return false;
        m_ppItems[m_uiCount++] = element;
        return true;
    }
    unsigned int getCount() const { return m_uiCount; }
    CXMLElement* const* from(unsigned int index) const { return m_ppItems + index; }
    void truncate(unsigned int count) { m_uiCount = count; }
    // Deletes every element still held (each owns only what was handed to it).
    void destroyAll()
    {
        while (m_uiCount > 0)
            delete m_ppItems[--m_uiCount];
    }

private:
    static constexpr unsigned int INLINE_CAPACITY = 64;

    bool grow()
    {
        if (m_uiCapacity >= 0x10000000u)
            return false;
        const unsigned int capacity = m_uiCapacity * 2;
        CXMLElement** items = static_cast<CXMLElement**>(CMemory::malloc(capacity * sizeof(CXMLElement*), 0));
        if (!items)
            return false;
        std::memcpy(items, m_ppItems, m_uiCount * sizeof(CXMLElement*));
        if (m_ppItems != m_aInline)
            CMemory::free(m_ppItems);
        m_ppItems = items;
        m_uiCapacity = capacity;
        return true;
    }

    CXMLElement* m_aInline[INLINE_CAPACITY];
    CXMLElement** m_ppItems;
    unsigned int m_uiCount;
    unsigned int m_uiCapacity;
};

} // namespace

bool CXMLElement::parseAttribute(const char16_t*& pos)
{
    tagAttributeSpan spans[ATTRIBUTE_BATCH];
    unsigned int count = 0;
    const char16_t* p = pos;
    for (;;) {
        p = XMLScan::skipBlank(p);
        char16_t c = *p;
        if (c == u'/' || c == u'>')
            break;
        const char16_t* nameStart = p;
        p = XMLScan::skipName(p);
        c = *p;
        if ((c != u'=' && c != u'/' && c != u'>') || p == nameStart) {
            pos = p;
            return false;
        }
        unsigned int nameLength = unsigned(p - nameStart);
        if (nameLength > CXMLHelper::MAX_NAME_LENGTH) {
            pos = nameStart;
            return false;
        }
        // Deliberately not examined: the unit after the name stands for '='.
        p = XMLScan::skipBlank(p + 1);
        if (*p != u'"' && *p != u'\'') {
            pos = p;
            return false;
        }
        const char16_t* valueStart = ++p;
        bool hasAmpersand;
        p = scanValue(p, hasAmpersand);
        if (*p == 0) {
            pos = p;
            return false;
        }
        if (count == ATTRIBUTE_BATCH) {
            if (!commitAttributes(m_mapAttributes, spans, count, pos))
                return false;
            count = 0;
        }
        spans[count++] = {nameStart, valueStart, nameLength, unsigned(p - valueStart), hasAmpersand};
        ++p;
    }
    if (count > 0 && !commitAttributes(m_mapAttributes, spans, count, pos))
        return false;
    pos = p;
    return true;
}

// Hands the last `count` pending elements to this element as its children,
// in one array of exactly that size.
bool CXMLElement::adoptChildren(CXMLElement* const* children, unsigned int count)
{
    if (count == 0)
        return true;
    if (!m_aryChildren.reserve(m_aryChildren.getCount() + count))
        return false;
    for (unsigned int i = 0; i < count; ++i)
        m_aryChildren.add(children[i]);
    return true;
}

namespace {

// Where the reader stands in the element it is reading.
enum EReadStep
{
    READ_START_TAG, // before its start tag
    READ_CONTENT,   // after its start tag and text: a child or its end tag follows
    READ_END,       // past its end tag or "/>": it takes its children, the parent goes on
};

} // namespace

// Reads without recursion, one step at a time: `current` walks down into each
// new child and back up through the parent links as end tags close elements.
// Children wait in `pending` until their parent's end tag, so that each child
// array is allocated once at its final size; each open element's cursor holds
// where its children start there. A failing step leaves `p` at the offending
// unit.
bool CXMLElement::parseData(const char16_t*& pos)
{
    CPendingElements pending;
    const char16_t* p = pos;
    CXMLElement* current = this;
    m_uiCursor = 0;
    unsigned int depth = 1;
    EReadStep step = READ_START_TAG;
    bool ok = true;
    while (ok) {
        switch (step) {
        case READ_START_TAG: {
            bool empty = false;
            ok = readTagName(p, current->m_strName) && *p != 0 && current->parseAttribute(p) && readTagEnd(p, empty) &&
                 (empty || readText(p, current->m_strText));
            step = empty ? READ_END : READ_CONTENT;
            break;
        }
        case READ_CONTENT: {
            p = skipBlankAndComment(p);
            if (*p == 0) {
                ok = false;
            } else if (atEndTag(p, current->m_strName)) {
                p += 3 + current->m_strName.length();
                step = READ_END;
            } else {
                CXMLElement* child = depth < CXMLHelper::MAX_DEPTH ? new CXMLElement(m_pParser, current) : nullptr;
                ok = child && pending.push(child);
                if (!ok) {
                    delete child;
                    break;
                }
                child->m_uiCursor = pending.getCount();
                current = child;
                ++depth;
                step = READ_START_TAG;
            }
            break;
        }
        case READ_END: {
            const unsigned int first = current->m_uiCursor;
            ok = current->adoptChildren(pending.from(first), pending.getCount() - first);
            if (!ok)
                break;
            pending.truncate(first);
            if (current == this) {
                pos = p;
                return true;
            }
            current = current->m_pParent;
            --depth;
            step = READ_CONTENT;
            break;
        }
        }
    }
    // Elements not yet handed to a parent die here; `this` keeps none.
    pending.destroyAll();
    pos = p;
    return false;
}

} // namespace Trell
