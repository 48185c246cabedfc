#include <document/CXMLElement.h>

#include "XMLScan.h"

#include <cstring>

// The writer of CXMLElement: saveTo and the measuring and writing walks that
// CXMLParser's saveToString shares.

namespace Trell {

namespace {

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

} // namespace

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

} // namespace Trell
