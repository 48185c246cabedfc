#pragma once

#include <foundation/CMemory.h>
#include <foundation/Export.h>

#include <cstring>
#include <type_traits>

namespace Trell {

// One value of a scalar type, or one array of such values, tagged with its
// type code. Arrays and text are owned and copied deeply. A value class:
// copy it freely; one object is used by one thread at a time.
class ECS_API CVariant
{
    TRELL_DECLARE_ALLOCATOR(u"CVariant")

public:
    // The type codes; 8, 9, 22 and 23 are reserved and never produced.
    enum EType : unsigned int
    {
        TYPE_EMPTY = 0,
        TYPE_WCHAR = 1,
        TYPE_SCHAR = 2,
        TYPE_UCHAR = 3,
        TYPE_SHORT = 4,
        TYPE_USHORT = 5,
        TYPE_INT = 6,
        TYPE_UINT = 7,
        TYPE_LONGLONG = 10,
        TYPE_ULONGLONG = 11,
        TYPE_FLOAT = 12,
        TYPE_DOUBLE = 13,
        TYPE_BOOL = 14,
        TYPE_TEXT = 15, // wchar_t text: the characters and a terminating zero
        TYPE_ARRAY_SCHAR = 16,
        TYPE_ARRAY_UCHAR = 17,
        TYPE_ARRAY_SHORT = 18,
        TYPE_ARRAY_USHORT = 19,
        TYPE_ARRAY_INT = 20,
        TYPE_ARRAY_UINT = 21,
        TYPE_ARRAY_LONGLONG = 24,
        TYPE_ARRAY_ULONGLONG = 25,
        TYPE_ARRAY_FLOAT = 26,
        TYPE_ARRAY_DOUBLE = 27,
        TYPE_ARRAY_BOOL = 28
    };

    CVariant() : m_value(), m_uiType(TYPE_EMPTY) {}
    CVariant(wchar_t value) : CVariant() { set(value); }
    CVariant(signed char value) : CVariant() { set(value); }
    CVariant(unsigned char value) : CVariant() { set(value); }
    CVariant(short value) : CVariant() { set(value); }
    CVariant(unsigned short value) : CVariant() { set(value); }
    CVariant(int value) : CVariant() { set(value); }
    CVariant(unsigned int value) : CVariant() { set(value); }
    CVariant(long long value) : CVariant() { set(value); }
    CVariant(unsigned long long value) : CVariant() { set(value); }
    CVariant(float value) : CVariant() { set(value); }
    CVariant(double value) : CVariant() { set(value); }
    CVariant(bool value) : CVariant() { set(value); }

    // Arrays (`count` elements copied) and text (`count` characters plus a
    // terminating zero). A null source copies nothing: an array of 0.
    // When the memory cannot be had the variant stays empty.
    CVariant(const wchar_t* text, unsigned int count) : CVariant() { copyFrom(text, count); }
    CVariant(const signed char* values, unsigned int count) : CVariant() { copyFrom(values, count); }
    CVariant(const unsigned char* values, unsigned int count) : CVariant() { copyFrom(values, count); }
    CVariant(const short* values, unsigned int count) : CVariant() { copyFrom(values, count); }
    CVariant(const unsigned short* values, unsigned int count) : CVariant() { copyFrom(values, count); }
    CVariant(const int* values, unsigned int count) : CVariant() { copyFrom(values, count); }
    CVariant(const unsigned int* values, unsigned int count) : CVariant() { copyFrom(values, count); }
    CVariant(const long long* values, unsigned int count) : CVariant() { copyFrom(values, count); }
    CVariant(const unsigned long long* values, unsigned int count) : CVariant() { copyFrom(values, count); }
    CVariant(const float* values, unsigned int count) : CVariant() { copyFrom(values, count); }
    CVariant(const double* values, unsigned int count) : CVariant() { copyFrom(values, count); }
    CVariant(const bool* values, unsigned int count) : CVariant() { copyFrom(values, count); }

    CVariant(const CVariant& other);
    ~CVariant() { clear(); }

    // Deep copy; assigning a variant to itself does nothing.
    CVariant& operator=(const CVariant& other);
    CVariant& operator=(wchar_t value) { return set(value); }
    CVariant& operator=(signed char value) { return set(value); }
    CVariant& operator=(unsigned char value) { return set(value); }
    CVariant& operator=(short value) { return set(value); }
    CVariant& operator=(unsigned short value) { return set(value); }
    CVariant& operator=(int value) { return set(value); }
    CVariant& operator=(unsigned int value) { return set(value); }
    CVariant& operator=(long long value) { return set(value); }
    CVariant& operator=(unsigned long long value) { return set(value); }
    CVariant& operator=(float value) { return set(value); }
    CVariant& operator=(double value) { return set(value); }
    CVariant& operator=(bool value) { return set(value); }

    // Replace the content by a copy of `count` elements; false (and empty)
    // when the memory cannot be had.
    bool copyFrom(const wchar_t* text, unsigned int count);
    bool copyFrom(const signed char* values, unsigned int count);
    bool copyFrom(const unsigned char* values, unsigned int count);
    bool copyFrom(const short* values, unsigned int count);
    bool copyFrom(const unsigned short* values, unsigned int count);
    bool copyFrom(const int* values, unsigned int count);
    bool copyFrom(const unsigned int* values, unsigned int count);
    bool copyFrom(const long long* values, unsigned int count);
    bool copyFrom(const unsigned long long* values, unsigned int count);
    bool copyFrom(const float* values, unsigned int count);
    bool copyFrom(const double* values, unsigned int count);
    bool copyFrom(const bool* values, unsigned int count);

    // Frees an array or text; the type becomes TYPE_EMPTY.
    void clear();

    unsigned int getType() const { return m_uiType; }
    bool isEmpty() const { return m_uiType == TYPE_EMPTY; }
    bool isArray() const { return m_uiType >= TYPE_TEXT; }
    // Elements of an array, characters of text (without the zero); 0 otherwise.
    unsigned int getCount() const { return isArray() ? m_value.array.uiCount : 0; }
    // The value of type T, or T's zero when the variant holds another type.
    template <class T>
    T get() const
    {
        T value = T(0);
        if (m_uiType == scalarCode<T>())
            std::memcpy(&value, &m_value, sizeof(T));
        return value;
    }
    // The elements of an array of T (text for wchar_t), or null for any other type.
    template <class T>
    const T* getArray() const
    {
        return m_uiType == scalarCode<T>() + ARRAY_OFFSET ? static_cast<const T*>(m_value.array.pData) : nullptr;
    }

private:
    // Every array code (text included) is its element's scalar code + 14.
    static constexpr unsigned int ARRAY_OFFSET = TYPE_TEXT - TYPE_WCHAR;

    template <class T>
    static constexpr unsigned int scalarCode()
    {
        using namespace std;
        constexpr unsigned int code = is_same_v<T, wchar_t>              ? TYPE_WCHAR
                                      : is_same_v<T, signed char>        ? TYPE_SCHAR
                                      : is_same_v<T, unsigned char>      ? TYPE_UCHAR
                                      : is_same_v<T, short>              ? TYPE_SHORT
                                      : is_same_v<T, unsigned short>     ? TYPE_USHORT
                                      : is_same_v<T, int>                ? TYPE_INT
                                      : is_same_v<T, unsigned int>       ? TYPE_UINT
                                      : is_same_v<T, long long>          ? TYPE_LONGLONG
                                      : is_same_v<T, unsigned long long> ? TYPE_ULONGLONG
                                      : is_same_v<T, float>              ? TYPE_FLOAT
                                      : is_same_v<T, double>             ? TYPE_DOUBLE
                                      : is_same_v<T, bool>               ? TYPE_BOOL
                                                                         : TYPE_EMPTY;
        static_assert(code != TYPE_EMPTY, "not a type a variant holds");
        return code;
    }

    template <class T>
    CVariant& set(T value)
    {
        clear();
        std::memcpy(&m_value, &value, sizeof(T));
        m_uiType = scalarCode<T>();
        return *this;
    }
    // Replaces the content by `count` elements of `elementSize` bytes and a
    // zero element after them.
    bool copyElements(const void* values, unsigned int count, unsigned int elementSize, unsigned int type);

    // Scalars, or an array's count followed by its elements: 8 bytes on the
    // 32-bit target, larger where pointers are.
    union tagValue
    {
        wchar_t wcValue;
        signed char cValue;
        unsigned char ucValue;
        short sValue;
        unsigned short usValue;
        int iValue;
        unsigned int uiValue;
        long long llValue;
        unsigned long long ullValue;
        float fValue;
        double dValue;
        bool bValue;
        struct
        {
            unsigned int uiCount;
            void* pData;
        } array;
    };
    static_assert(sizeof(void*) != 4 || sizeof(tagValue) == 8, "the value area is 8 bytes on the target");

    tagValue m_value;
    unsigned int m_uiType;
};

} // namespace Trell
