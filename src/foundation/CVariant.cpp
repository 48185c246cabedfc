#include <foundation/CVariant.h>

#include <cstring>

namespace Trell {

namespace {

// Bytes per element of an array type; 0 for any other code.
unsigned int elementSize(unsigned int type)
{
    switch (type) {
    case CVariant::TYPE_TEXT: return sizeof(wchar_t);
    case CVariant::TYPE_ARRAY_SCHAR:
    case CVariant::TYPE_ARRAY_UCHAR: return 1;
    case CVariant::TYPE_ARRAY_SHORT:
    case CVariant::TYPE_ARRAY_USHORT: return 2;
    case CVariant::TYPE_ARRAY_INT:
    case CVariant::TYPE_ARRAY_UINT:
    case CVariant::TYPE_ARRAY_FLOAT: return 4;
    case CVariant::TYPE_ARRAY_LONGLONG:
    case CVariant::TYPE_ARRAY_ULONGLONG:
    case CVariant::TYPE_ARRAY_DOUBLE: return 8;
    case CVariant::TYPE_ARRAY_BOOL: return sizeof(bool);
    default: return 0;
    }
}

} // namespace

CVariant::CVariant(const CVariant& other) : CVariant()
{
    *this = other;
}

CVariant& CVariant::operator=(const CVariant& other)
{
    if (this == &other)
        return *this;
    if (other.isArray()) {
        copyElements(other.m_value.array.pData, other.m_value.array.uiCount, elementSize(other.m_uiType),
                     other.m_uiType);
    } else {
        clear();
        m_value = other.m_value;
        m_uiType = other.m_uiType;
    }
    return *this;
}

void CVariant::clear()
{
    if (isArray())
        CMemory::free(m_value.array.pData);
    m_value = tagValue();
    m_uiType = TYPE_EMPTY;
}

bool CVariant::copyElements(const void* values, unsigned int count, unsigned int elementSize, unsigned int type)
{
    if (values == nullptr)
        count = 0;
    // count + 1 elements must fit the allocator's 32-bit size.
    const unsigned long long bytes = (static_cast<unsigned long long>(count) + 1) * elementSize;
    void* pData = bytes > 0xFFFFFFFFull ? nullptr : CMemory::malloc(static_cast<unsigned int>(bytes), 0);
    const unsigned int copied = count * elementSize;
    if (pData != nullptr) {
        if (copied > 0)
            std::memcpy(pData, values, copied);
        std::memset(static_cast<unsigned char*>(pData) + copied, 0, elementSize);
    }
    // Cleared only now: `values` may point into this variant's own array.
    clear();
    if (pData == nullptr)
        return false;
    m_value.array.uiCount = count;
    m_value.array.pData = pData;
    m_uiType = type;
    return true;
}

#define TRELL_VARIANT_COPY_FROM(Element, Type)                                                                         \
    bool CVariant::copyFrom(const Element* values, unsigned int count)                                                 \
    {                                                                                                                  \
        return copyElements(values, count, sizeof(Element), Type);                                                     \
    }
TRELL_VARIANT_COPY_FROM(wchar_t, TYPE_TEXT)
TRELL_VARIANT_COPY_FROM(signed char, TYPE_ARRAY_SCHAR)
TRELL_VARIANT_COPY_FROM(unsigned char, TYPE_ARRAY_UCHAR)
TRELL_VARIANT_COPY_FROM(short, TYPE_ARRAY_SHORT)
TRELL_VARIANT_COPY_FROM(unsigned short, TYPE_ARRAY_USHORT)
TRELL_VARIANT_COPY_FROM(int, TYPE_ARRAY_INT)
TRELL_VARIANT_COPY_FROM(unsigned int, TYPE_ARRAY_UINT)
TRELL_VARIANT_COPY_FROM(long long, TYPE_ARRAY_LONGLONG)
TRELL_VARIANT_COPY_FROM(unsigned long long, TYPE_ARRAY_ULONGLONG)
TRELL_VARIANT_COPY_FROM(float, TYPE_ARRAY_FLOAT)
TRELL_VARIANT_COPY_FROM(double, TYPE_ARRAY_DOUBLE)
TRELL_VARIANT_COPY_FROM(bool, TYPE_ARRAY_BOOL)
#undef TRELL_VARIANT_COPY_FROM

} // namespace Trell
