#include <document/CXMLElement.h>

#include <document/CXMLHelper.h>
#include <document/CXMLParser.h>
#include <text/CStringConverter.h>
#include <text/CStringCore.h>

#include "XMLScan.h"

#include <cstring>

namespace Trell {

using XMLScan::CBorrowedString;

namespace {

// Asks for the cache lines of an element to be loaded ahead of their use.
inline void prefetchObject(const CXMLElement* element)
{
#if defined(__GNUC__) || defined(__clang__)
    const char* p = reinterpret_cast<const char*>(element);
    for (unsigned int offset = 0; offset < sizeof(CXMLElement); offset += 64)
        __builtin_prefetch(p + offset);
#else
    (void)element;
#endif
}

// Appends `n` tabs.
inline char16_t* writeTabs(char16_t* out, unsigned int n)
{
    while (n--)
        *out++ = u'\t';
    return out;
}

inline char16_t* writeRaw(char16_t* out, const char16_t* text, unsigned int length)
{
    if (length)
        std::memcpy(out, text, length * sizeof(char16_t));
    return out + length;
}

// Counts what the writer below produces, element by element.
struct tagMeasureSink
{
    TRELL_DECLARE_ALLOCATOR(u"CXMLElement::tagMeasureSink")

    unsigned long long ullTotal = 0;
    bool bFormatted;

    explicit tagMeasureSink(bool formatted) : bFormatted(formatted) {}

    void open(const CXMLElement* e, unsigned int level)
    {
        const unsigned int f = bFormatted ? 1 : 0;
        unsigned long long n = (bFormatted ? level : 0) + 1ull + e->getName().length();
        for (const auto& entry : e->getAttributes())
            n += entry.key.length() + 4ull + XMLScan::encodedLength(entry.value->buffer(), entry.value->length());
        if (e->hasChildren())
            n += 1 + f;
        else if (e->getText().length() > 0)
            n += 1 + XMLScan::encodedLength(e->getText().buffer(), e->getText().length()) + 3ull +
                 e->getName().length() + f;
        else
            n += 2 + f;
        ullTotal += n;
    }

    void close(const CXMLElement* e, unsigned int level)
    {
        ullTotal += (bFormatted ? level : 0) + 3ull + e->getName().length() + (bFormatted ? 1 : 0);
    }
};

struct tagWriteSink
{
    TRELL_DECLARE_ALLOCATOR(u"CXMLElement::tagWriteSink")

    char16_t* pOut;
    bool bFormatted;

    tagWriteSink(char16_t* out, bool formatted) : pOut(out), bFormatted(formatted) {}

    char16_t* closeTag(char16_t* out, const CString& name)
    {
        *out++ = u'<';
        *out++ = u'/';
        out = writeRaw(out, name.buffer(), name.length());
        *out++ = u'>';
        if (bFormatted)
            *out++ = u'\n';
        return out;
    }

    void open(const CXMLElement* e, unsigned int level)
    {
        char16_t* out = pOut;
        if (bFormatted)
            out = writeTabs(out, level);
        *out++ = u'<';
        out = writeRaw(out, e->getName().buffer(), e->getName().length());
        for (const auto& entry : e->getAttributes()) {
            *out++ = u' ';
            out = writeRaw(out, entry.key.buffer(), entry.key.length());
            *out++ = u'=';
            *out++ = u'"';
            out = XMLScan::writeEncoded(out, entry.value->buffer(), entry.value->length());
            *out++ = u'"';
        }
        if (e->hasChildren()) {
            *out++ = u'>';
            if (bFormatted)
                *out++ = u'\n';
        } else if (e->getText().length() > 0) {
            *out++ = u'>';
            out = XMLScan::writeEncoded(out, e->getText().buffer(), e->getText().length());
            out = closeTag(out, e->getName());
        } else {
            *out++ = u'/';
            *out++ = u'>';
            if (bFormatted)
                *out++ = u'\n';
        }
        pOut = out;
    }

    void close(const CXMLElement* e, unsigned int level)
    {
        char16_t* out = pOut;
        if (bFormatted)
            out = writeTabs(out, level);
        pOut = closeTag(out, e->getName());
    }
};

bool copyAttributes(const CXMLElement::AttributeMap& from, CXMLElement::AttributeMap& to)
{
    bool ok = true;
    for (const auto& entry : from) {
        CString* value = new CString(*entry.value);
        if (!value) {
            ok = false;
            continue;
        }
        if (!to.insert(entry.key, value)) {
            delete value;
            ok = false;
        }
    }
    return ok;
}

} // namespace

CXMLElement::CXMLElement(CXMLParser* parser, CXMLElement* parent)
    : CObject(), m_pParser(parser), m_pParent(parent), m_mapAttributes(true), m_aryChildren(true), m_uiCursor(0)
{
}

CXMLElement::~CXMLElement()
{
    clearChildrenSilently();
}

// Deletes the subtree bottom-up, so the destructors never nest however deep
// the tree is. Each element's cursor counts down its children still to go;
// an element is deleted once they are gone, after its array has forgotten
// them, and a childless one at once.
void CXMLElement::clearChildrenSilently()
{
    if (m_aryChildren.getCount() == 0)
        return;
    CXMLElement* current = this;
    current->m_uiCursor = current->m_aryChildren.getCount();
    for (;;) {
        if (current->m_uiCursor > 0) {
            const unsigned int index = --current->m_uiCursor;
            CXMLElement* child = current->m_aryChildren[index];
            // Large trees do not fit the caches: ask early for the siblings
            // to be deleted next.
            if (index >= 2)
                prefetchObject(current->m_aryChildren[index - 2]);
            if (child->m_aryChildren.getCount() > 0) {
                child->m_uiCursor = child->m_aryChildren.getCount();
                current = child;
            } else {
                delete child;
            }
            continue;
        }
        current->forgetChildren();
        if (current == this)
            return;
        CXMLElement* parent = current->m_pParent;
        delete current;
        current = parent;
    }
}

// Empties the child array without deleting the children (already gone).
void CXMLElement::forgetChildren()
{
    m_aryChildren.setOwning(false);
    m_aryChildren.clear();
    m_aryChildren.setOwning(true);
}

bool CXMLElement::appendChild(CXMLElement* child)
{
    unsigned int capacity = m_aryChildren.getCapacity();
    if (m_aryChildren.getCount() == capacity && capacity < 0x10000000u)
        m_aryChildren.reserve(capacity < 4 ? 4 : capacity * 2);
    return m_aryChildren.add(child);
}

// ---------------------------------------------------------------------------
// Tree

CXMLElement* CXMLElement::addChild(const char16_t* name)
{
    CXMLElement* child = new CXMLElement(m_pParser, this);
    if (!child)
        return nullptr;
    child->m_strName = name;
    if (!appendChild(child)) {
        delete child;
        return nullptr;
    }
    notifyDataChange();
    return child;
}

CXMLElement* CXMLElement::getChildByIndex(unsigned int index) const
{
    return m_aryChildren.getAt(index);
}

CXMLElement* CXMLElement::getSingleChild(const char16_t* name) const
{
    if (!name)
        name = u"";
    for (CXMLElement* child : m_aryChildren) {
        if (CStringCore::strcmp(child->m_strName.buffer(), name) == 0)
            return child;
    }
    return nullptr;
}

void CXMLElement::getChildren(const char16_t* name, CDataArray<CXMLElement*>& out) const
{
    if (!name)
        name = u"";
    for (CXMLElement* child : m_aryChildren) {
        if (CStringCore::strcmp(child->m_strName.buffer(), name) == 0)
            out.add(child);
    }
}

bool CXMLElement::deleteChild(CXMLElement* child)
{
    if (!child || child->m_pParent != this)
        return false;
    if (!m_aryChildren.remove(child))
        return false;
    notifyDataChange();
    return true;
}

bool CXMLElement::deleteChild(unsigned int index)
{
    if (!m_aryChildren.removeAt(index))
        return false;
    notifyDataChange();
    return true;
}

unsigned int CXMLElement::deleteChildren(const char16_t* name)
{
    if (!name)
        name = u"";
    unsigned int deleted = 0;
    for (unsigned int i = m_aryChildren.getCount(); i-- > 0;) {
        if (CStringCore::strcmp(m_aryChildren[i]->m_strName.buffer(), name) == 0) {
            m_aryChildren.removeAt(i);
            ++deleted;
        }
    }
    if (deleted)
        notifyDataChange();
    return deleted;
}

void CXMLElement::clearChildren()
{
    if (m_aryChildren.getCount() == 0)
        return;
    clearChildrenSilently();
    notifyDataChange();
}

unsigned int CXMLElement::getLevel() const
{
    unsigned int level = 0;
    for (const CXMLElement* e = m_pParent; e; e = e->m_pParent)
        ++level;
    return level;
}

// ---------------------------------------------------------------------------
// Content

void CXMLElement::setName(const CString& name)
{
    if (m_strName == name && m_strName.isEmpty() == name.isEmpty())
        return;
    m_strName = name;
    notifyDataChange();
}

void CXMLElement::setText(const CString& text)
{
    if (m_strText == text)
        return;
    m_strText = text;
    notifyDataChange();
}

// ---------------------------------------------------------------------------
// Attributes

void CXMLElement::setAttribute(const char16_t* name, const char16_t* value)
{
    CBorrowedString key(name);
    CString* current = m_mapAttributes.find(key.get());
    if (current) {
        if (*current == value)
            return;
        *current = value;
        notifyDataChange();
        return;
    }
    // A null value is stored as a null string, as CString(value) would give.
    CString* stored = new CString(value);
    if (!stored)
        return;
    char16_t* keyBuffer = XMLScan::copyToBuffer(key.get().buffer(), key.get().length());
    AttributeMap::tagNode* node =
        keyBuffer ? new AttributeMap::tagNode(std::piecewise_construct, stored, keyBuffer, key.get().length(),
                                              CString::tagAdopt())
                  : nullptr;
    if (!node) {
        if (keyBuffer)
            CMemory::free(keyBuffer);
        delete stored;
        return;
    }
    if (m_mapAttributes.adoptSorted(&node, 1) == 1)
        notifyDataChange();
}

void CXMLElement::setAttribute(const char16_t* name, const CString& value)
{
    setAttribute(name, value.buffer());
}

void CXMLElement::setAttribute(const char16_t* name, bool value)
{
    // Compared through the conversion with its default: a missing attribute
    // reads as false, so false leaves it missing.
    if (getAttributeBool(name) == value)
        return;
    setAttribute(name, value ? u"true" : u"false");
}

void CXMLElement::setAttribute(const char16_t* name, int value)
{
    char16_t text[32] = {};
    CStringConverter::toString(value, text);
    setAttribute(name, static_cast<const char16_t*>(text));
}

void CXMLElement::setAttribute(const char16_t* name, unsigned int value)
{
    char16_t text[32] = {};
    CStringConverter::toString(value, text);
    setAttribute(name, static_cast<const char16_t*>(text));
}

void CXMLElement::setAttribute(const char16_t* name, long long value)
{
    char16_t text[32] = {};
    CStringConverter::toString(value, text);
    setAttribute(name, static_cast<const char16_t*>(text));
}

void CXMLElement::setAttribute(const char16_t* name, float value)
{
    char16_t text[40] = {};
    CStringConverter::toString(value, text, 4);
    setAttribute(name, static_cast<const char16_t*>(text));
}

const CString* CXMLElement::findAttribute(const char16_t* name) const
{
    CBorrowedString key(name);
    return m_mapAttributes.find(key.get());
}

CString CXMLElement::getAttributeString(const char16_t* name, const CString& defaultValue) const
{
    const CString* value = findAttribute(name);
    return value ? *value : defaultValue;
}

namespace {
inline const char16_t* textOf(const CString* value)
{
    return value->buffer() ? value->buffer() : u"";
}
} // namespace

bool CXMLElement::getAttributeBool(const char16_t* name, bool defaultValue) const
{
    const CString* value = findAttribute(name);
    return value ? CStringConverter::toBool(textOf(value)) : defaultValue;
}

int CXMLElement::getAttributeInt(const char16_t* name, int defaultValue) const
{
    const CString* value = findAttribute(name);
    return value ? CStringConverter::toInt(textOf(value)) : defaultValue;
}

unsigned int CXMLElement::getAttributeUInt(const char16_t* name, unsigned int defaultValue) const
{
    const CString* value = findAttribute(name);
    return value ? CStringConverter::toUInt(textOf(value)) : defaultValue;
}

long long CXMLElement::getAttributeLLong(const char16_t* name, long long defaultValue) const
{
    const CString* value = findAttribute(name);
    return value ? CStringConverter::toLLong(textOf(value)) : defaultValue;
}

float CXMLElement::getAttributeFloat(const char16_t* name, float defaultValue) const
{
    const CString* value = findAttribute(name);
    return value ? CStringConverter::toFloat(textOf(value)) : defaultValue;
}

CString CXMLElement::getAttributeNameByIndex(unsigned int index) const
{
    if (index >= m_mapAttributes.getCount())
        return CString();
    return m_mapAttributes.getKeyAt(index);
}

bool CXMLElement::deleteAttribute(const char16_t* name)
{
    CBorrowedString key(name);
    if (!m_mapAttributes.remove(key.get()))
        return false;
    notifyDataChange();
    return true;
}

void CXMLElement::clearAllAttributes()
{
    if (m_mapAttributes.getCount() == 0)
        return;
    m_mapAttributes.clear();
    notifyDataChange();
}

void CXMLElement::getAllAttributes(AttributeMap& out) const
{
    if (&out == &m_mapAttributes)
        return;
    out.clear();
    out.setOwning(true);
    copyAttributes(m_mapAttributes, out);
}

void CXMLElement::setAllAttributes(const AttributeMap& from)
{
    if (&from == &m_mapAttributes)
        return;
    m_mapAttributes.clear();
    copyAttributes(from, m_mapAttributes);
    notifyDataChange();
}

// ---------------------------------------------------------------------------
// Copies

CXMLElement* CXMLElement::clone() const
{
    CXMLElement* copy = new CXMLElement(m_pParser, nullptr);
    if (!copy)
        return nullptr;
    if (!cloneTo(copy)) {
        delete copy;
        return nullptr;
    }
    return copy;
}

bool CXMLElement::cloneTo(CXMLElement* target) const
{
    // Copying into our own subtree would walk what is being built.
    for (const CXMLElement* e = target; e; e = e->m_pParent) {
        if (e == this)
            return false;
    }
    if (!target)
        return false;
    target->m_mapAttributes.clear();
    target->clearChildrenSilently();
    target->m_strName = m_strName;
    target->m_strText = m_strText;
    bool ok = copyAttributes(m_mapAttributes, target->m_mapAttributes);

    // Depth-first copy driven by the source elements' cursors.
    const CXMLElement* source = this;
    CXMLElement* copy = target;
    source->m_uiCursor = 0;
    while (ok) {
        if (source->m_uiCursor < source->m_aryChildren.getCount()) {
            const CXMLElement* child = source->m_aryChildren[source->m_uiCursor++];
            CXMLElement* childCopy = new CXMLElement(copy->m_pParser, copy);
            if (!childCopy || !copy->appendChild(childCopy)) {
                delete childCopy;
                ok = false;
                break;
            }
            childCopy->m_strName = child->m_strName;
            childCopy->m_strText = child->m_strText;
            ok = copyAttributes(child->m_mapAttributes, childCopy->m_mapAttributes);
            child->m_uiCursor = 0;
            source = child;
            copy = childCopy;
            continue;
        }
        if (source == this)
            break;
        source = source->m_pParent;
        copy = copy->m_pParent;
    }
    target->notifyDataChange();
    return ok;
}

// ---------------------------------------------------------------------------
// Reading

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

} // namespace

namespace {

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
    char16_t* valueBuffer =
        XMLScan::decodeToBuffer(span.pValue, span.uiValueLength, span.bHasAmpersand, valueLength);
    CString* value = valueBuffer ? new CString(valueBuffer, valueLength, CString::tagAdopt()) : nullptr;
    Node* node = value ? new Node(std::piecewise_construct, value, key, span.uiNameLength, CString::tagAdopt())
                       : nullptr;
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
        if (previous && XMLScan::compareNames(previous->pName, previous->uiNameLength, span.pName,
                                              span.uiNameLength) == 0)
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

// Reads without recursion: `current` walks down into each new child and back
// up through the parent links as end tags close elements. Each open
// element's cursor holds where its children start in `pending`.
bool CXMLElement::parseData(const char16_t*& pos)
{
    CPendingElements pending;
    const char16_t* p = pos;
    CXMLElement* current = this;
    current->m_uiCursor = 0;
    unsigned int depth = 1;
    const char16_t* failedAt;
    for (;;) {
        // Start tag of `current`.
        p = XMLScan::skipBlank(p);
        if (*p != u'<') {
            failedAt = p;
            break;
        }
        ++p;
        if (!XMLScan::isNameStart(*p)) {
            failedAt = p;
            break;
        }
        const char16_t* nameStart = p;
        p = XMLScan::skipName(p + 1);
        unsigned int nameLength = unsigned(p - nameStart);
        if (nameLength > CXMLHelper::MAX_NAME_LENGTH ||
            !XMLScan::makeString(nameStart, nameLength, current->m_strName)) {
            failedAt = nameStart;
            break;
        }
        if (*p == 0 || !current->parseAttribute(p)) {
            failedAt = p;
            break;
        }
        p = XMLScan::skipBlank(p);
        bool complete = false;
        if (p[0] == u'/' && p[1] == u'>') {
            p += 2;
            complete = true;
        } else {
            if (*p != u'>') {
                failedAt = p;
                break;
            }
            p = skipBlankAndComment(p + 1);
            if (*p == 0) {
                failedAt = p;
                break;
            }
            if (*p != u'<') {
                const char16_t* textStart = p;
                bool hasAmpersand;
                p = scanText(p, hasAmpersand);
                if (!XMLScan::makeDecoded(textStart, unsigned(p - textStart), hasAmpersand, current->m_strText)) {
                    failedAt = textStart;
                    break;
                }
            }
        }

        // Content of `current` after its text: children, a comment before
        // each, and the end tag; completed elements hand over to their parent.
        bool descended = false;
        failedAt = nullptr;
        for (;;) {
            if (!complete) {
                p = skipBlankAndComment(p);
                if (*p == 0) {
                    failedAt = p;
                    break;
                }
                const CString& name = current->m_strName;
                const unsigned int length = name.length();
                if (p[0] == u'<' && p[1] == u'/' && matchesName(p + 2, name.buffer(), length) &&
                    p[2 + length] == u'>') {
                    p += 3 + length;
                } else {
                    if (depth >= CXMLHelper::MAX_DEPTH) {
                        failedAt = p;
                        break;
                    }
                    CXMLElement* child = new CXMLElement(m_pParser, current);
                    if (!child || !pending.push(child)) {
                        delete child;
                        failedAt = p;
                        break;
                    }
                    child->m_uiCursor = pending.getCount();
                    current = child;
                    ++depth;
                    descended = true;
                    break;
                }
            }
            const unsigned int first = current->m_uiCursor;
            if (!current->adoptChildren(pending.from(first), pending.getCount() - first)) {
                failedAt = p;
                break;
            }
            pending.truncate(first);
            if (current == this) {
                pos = p;
                return true;
            }
            current = current->m_pParent;
            --depth;
            complete = false;
        }
        if (!descended)
            break;
    }
    // Elements not yet handed to a parent die here; `this` keeps none.
    pending.destroyAll();
    pos = failedAt;
    return false;
}

// ---------------------------------------------------------------------------
// Writing

// Visits the subtree in document order without recursion, using each
// element's cursor: open() for every element, close() after the children of
// an element that has some. False when an element has no name.
template <class Sink>
bool CXMLElement::walk(Sink& sink, unsigned int level) const
{
    const CXMLElement* current = this;
    if (current->m_strName.length() == 0)
        return false;
    sink.open(current, level);
    current->m_uiCursor = 0;
    for (;;) {
        if (current->m_uiCursor < current->m_aryChildren.getCount()) {
            const CXMLElement* child = current->m_aryChildren[current->m_uiCursor++];
            if (child->m_strName.length() == 0)
                return false;
            sink.open(child, level + 1);
            if (child->hasChildren()) {
                child->m_uiCursor = 0;
                current = child;
                ++level;
            }
            continue;
        }
        if (current->hasChildren())
            sink.close(current, level);
        if (current == this)
            return true;
        current = current->m_pParent;
        --level;
    }
}

long long CXMLElement::measure(bool formatted, unsigned int level) const
{
    tagMeasureSink sink(formatted);
    if (!walk(sink, level))
        return -1;
    if (sink.ullTotal >= 0x3FFFFFFFull)
        return -1;
    return static_cast<long long>(sink.ullTotal);
}

char16_t* CXMLElement::write(char16_t* out, bool formatted, unsigned int level) const
{
    tagWriteSink sink(out, formatted);
    walk(sink, level);
    return sink.pOut;
}

bool CXMLElement::saveTo(CString& out, bool formatted, bool append) const
{
    const unsigned int level = formatted ? getLevel() : 0;
    long long length = measure(formatted, level);
    if (length < 0)
        return false;
    const unsigned int kept = append ? out.length() : 0;
    const unsigned long long total = kept + static_cast<unsigned long long>(length);
    if (total >= 0x3FFFFFFFull)
        return false;
    char16_t* buffer = static_cast<char16_t*>(CMemory::malloc(unsigned(total + 1) * sizeof(char16_t), 0));
    if (!buffer)
        return false;
    if (kept)
        std::memcpy(buffer, out.buffer(), kept * sizeof(char16_t));
    char16_t* end = write(buffer + kept, formatted, level);
    *end = 0;
    out.attach(buffer, int(end - buffer));
    return true;
}

void CXMLElement::notifyDataChange()
{
    if (m_pParser)
        m_pParser->notifyDataChange();
}

} // namespace Trell
