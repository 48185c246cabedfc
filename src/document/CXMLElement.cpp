#include <document/CXMLElement.h>

#include <document/CXMLParser.h>
#include <text/CStringConverter.h>
#include <text/CStringCore.h>

#include "XMLScan.h"

// The tree of CXMLElement; its reader and writer are XMLReader.cpp and
// XMLWriter.cpp.

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
{}

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
    AttributeMap::tagNode* node = keyBuffer ? new AttributeMap::tagNode(std::piecewise_construct, stored, keyBuffer,
                                                                        key.get().length(), CString::tagAdopt())
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

void CXMLElement::notifyDataChange()
{
    if (m_pParser)
        m_pParser->notifyDataChange();
}

} // namespace Trell
