#pragma once

#include <foundation/CCompare.h>
#include <foundation/CDataArray.h>
#include <foundation/CMemory.h>
#include <foundation/CObject.h>
#include <foundation/CObjectArray.h>
#include <foundation/CObjectMap.h>
#include <foundation/Export.h>
#include <text/CString.h>

namespace Trell {

class CXMLParser;

// One element of an XML tree: a name, attributes kept sorted by name (a name
// occurs at most once), an ordered list of owned children and a text.
//
// Names given to the lookup and editing calls are plain zero-terminated
// texts; a CString converts to one without a copy. A null name is treated as
// the empty name.
//
// The tree may be of any depth: destroying, saving and cloning work without
// recursion. Only the reader bounds depth (see CXMLHelper::MAX_DEPTH).
//
// Edits made through this class tell the parser's listener (if any); the
// setters do nothing, and tell nobody, when the new content equals the old.
// Not synchronised: one tree is used by one thread at a time.
class ECS_API CXMLElement : public CObject
{
    TRELL_DECLARE_ALLOCATOR(u"CXMLElement")

public:
    typedef CObjectMap<CString, CString, tagStringCompare> AttributeMap;

    explicit CXMLElement(CXMLParser* parser = nullptr, CXMLElement* parent = nullptr);
    ~CXMLElement() override;

    // ---- Tree ----------------------------------------------------------------

    // Creates, appends and returns a child; null when memory runs out.
    CXMLElement* addChild(const char16_t* name);
    CXMLElement* getChildByIndex(unsigned int index) const;
    unsigned int getChildCount() const { return m_aryChildren.getCount(); }
    bool hasChildren() const { return m_aryChildren.getCount() > 0; }
    bool hasChild(const char16_t* name) const { return getSingleChild(name) != nullptr; }
    // The first child of that name, or null.
    CXMLElement* getSingleChild(const char16_t* name) const;
    // Appends all children of that name, in order, to `out` (not cleared first).
    void getChildren(const char16_t* name, CDataArray<CXMLElement*>& out) const;
    // Deletes a child of this element; false when it is not one.
    bool deleteChild(CXMLElement* child);
    bool deleteChild(unsigned int index);
    // Deletes every child of that name; returns how many went.
    unsigned int deleteChildren(const char16_t* name);
    void clearChildren();
    CXMLElement* getParent() const { return m_pParent; }
    CXMLParser* getParser() const { return m_pParser; }
    // 0 for an element without a parent, the parent's level plus one otherwise.
    unsigned int getLevel() const;

    // ---- Content -------------------------------------------------------------

    const CString& getName() const { return m_strName; }
    void setName(const CString& name);
    const CString& getText() const { return m_strText; }
    void setText(const CString& text);

    // ---- Attributes ------------------------------------------------------------
    // Numbers become text with CStringConverter::toString (floats with four
    // decimals); the getters convert with CStringConverter's rules and give
    // the default only when the attribute is missing.

    void setAttribute(const char16_t* name, const CString& value);
    void setAttribute(const char16_t* name, const char16_t* value);
    // Compares through getAttributeBool with its default, so "True" and a
    // missing attribute count as false: false writes nothing to either.
    void setAttribute(const char16_t* name, bool value);
    void setAttribute(const char16_t* name, int value);
    void setAttribute(const char16_t* name, unsigned int value);
    void setAttribute(const char16_t* name, long long value);
    void setAttribute(const char16_t* name, float value);

    CString getAttributeString(const char16_t* name, const CString& defaultValue = STRING_NULL) const;
    // True only for the exact text "true".
    bool getAttributeBool(const char16_t* name, bool defaultValue = false) const;
    int getAttributeInt(const char16_t* name, int defaultValue = 0) const;
    unsigned int getAttributeUInt(const char16_t* name, unsigned int defaultValue = 0) const;
    long long getAttributeLLong(const char16_t* name, long long defaultValue = 0) const;
    float getAttributeFloat(const char16_t* name, float defaultValue = 0.0f) const;
    // The stored value, or null; valid until the attribute changes.
    const CString* findAttribute(const char16_t* name) const;

    bool hasAttribute(const char16_t* name) const { return findAttribute(name) != nullptr; }
    bool hasAttributes() const { return m_mapAttributes.getCount() > 0; }
    unsigned int getAttributeCount() const { return m_mapAttributes.getCount(); }
    // Names in ascending order; a null string past the end.
    CString getAttributeNameByIndex(unsigned int index) const;
    bool deleteAttribute(const char16_t* name);
    void clearAllAttributes();
    // Replaces the content of `out` with copies of all attributes; `out`
    // becomes owning, so the copies die with it.
    void getAllAttributes(AttributeMap& out) const;
    // Replaces all attributes with copies of those in `from`.
    void setAllAttributes(const AttributeMap& from);
    const AttributeMap& getAttributes() const { return m_mapAttributes; }

    // ---- Copies ------------------------------------------------------------------

    // Deep copy (name, text, attributes, children) without a parent, in the
    // same parser; null when memory runs out.
    CXMLElement* clone() const;
    // Replaces the content of `target` with a deep copy of this element;
    // `target` keeps its parent and parser. False for a null target, for
    // this element itself or one of its descendants, or when memory runs out.
    bool cloneTo(CXMLElement* target) const;

    // ---- Text form -----------------------------------------------------------------

    // Clears attributes and children and reads one element (with its
    // children) from the text. On failure the element is left without
    // attributes and children, and when it belongs to a parser the parser's
    // error position is set (relative to `text`).
    bool parseFrom(const char16_t* text);
    // Writes the element and its children; with `formatted` each line is
    // indented by one tab per level (getLevel()) and ends with "\n". With
    // `append` the text is added to `out`, else it replaces it. False when an
    // element of the subtree has no name (then `out` is not changed).
    bool saveTo(CString& out, bool formatted, bool append) const;

    // Passes a change on to the parser's listener, if any.
    void notifyDataChange();

protected:
    CXMLElement(const CXMLElement&);
    CXMLElement& operator=(const CXMLElement&);

    // Reads this element and its descendants starting at `pos` (blanks
    // first). On success `pos` is the position after the element; on failure
    // it is the offending position, no child is kept, and the element's own
    // name, attributes and text may be partly set.
    bool parseData(const char16_t*& pos);
    // Reads the attribute list up to (not including) "/" or ">".
    bool parseAttribute(const char16_t*& pos);

    // Length of the text saveTo writes, or -1 when an element has no name.
    long long measure(bool formatted, unsigned int level) const;
    char16_t* write(char16_t* out, bool formatted, unsigned int level) const;
    bool appendChild(CXMLElement* child);
    bool adoptChildren(CXMLElement* const* children, unsigned int count);
    void clearChildrenSilently();
    void forgetChildren();
    template <class Sink>
    bool walk(Sink& sink, unsigned int level) const;

    friend class CXMLParser;

private:
    CXMLParser* m_pParser;
    CXMLElement* m_pParent;
    CString m_strName;
    AttributeMap m_mapAttributes;
    CObjectArray<CXMLElement> m_aryChildren;
    CString m_strText;
    // Next child to visit while saving or cloning without recursion.
    mutable unsigned int m_uiCursor;
};

} // namespace Trell
