#pragma once

#include <foundation/CMemory.h>
#include <foundation/CObject.h>

#include <cassert>
#include <climits>
#include <cstddef>
#include <cstring>
#include <functional>
#include <memory>
#include <new>
#include <type_traits>
#include <utility>

namespace Trell {

// Helpers shared by the array-based containers; not part of the interface.
namespace ContainerDetail {

// The capacity an array grows to so that it holds `needed` elements: the
// capacity is replaced by capacity * 3 / 2 + 1 until it is large enough.
// Gives 0 when the resulting storage would not fit an allocation request.
inline unsigned int grownCapacity(unsigned int capacity, unsigned int needed, std::size_t elementSize)
{
    unsigned long long grown = capacity;
    while (grown < needed)
        grown = grown * 3 / 2 + 1;
    if (grown > UINT_MAX || grown * elementSize > UINT_MAX)
        return 0;
    return static_cast<unsigned int>(grown);
}

// Raw, unconstructed storage for `count` elements, tagged with class id 0.
template <class T>
T* allocateStorage(unsigned int count)
{
    unsigned long long bytes = static_cast<unsigned long long>(count) * sizeof(T);
    if (count == 0 || bytes > UINT_MAX)
        return nullptr;
    return static_cast<T*>(CMemory::malloc(static_cast<unsigned int>(bytes), 0));
}

inline void freeStorage(void* storage)
{
    if (storage)
        CMemory::free(storage);
}

template <class T>
void destroyElements(T* first, unsigned int count)
{
    if constexpr (!std::is_trivially_destructible_v<T>) {
        for (unsigned int i = 0; i < count; ++i)
            first[i].~T();
    }
    (void)first;
    (void)count;
}

// Moves `count` live elements from `src` to the unconstructed slots at `dst`
// and ends them at `src`. The ranges may overlap (shifting inside one block).
template <class T>
void relocateElements(T* dst, T* src, unsigned int count)
{
    if (count == 0 || dst == src)
        return;
    if constexpr (std::is_trivially_copyable_v<T>) {
        std::memmove(static_cast<void*>(dst), static_cast<const void*>(src), count * sizeof(T));
    } else if (std::less<T*>()(dst, src)) {
        for (unsigned int i = 0; i < count; ++i) {
            ::new (static_cast<void*>(dst + i)) T(std::move(src[i]));
            src[i].~T();
        }
    } else {
        for (unsigned int i = count; i-- > 0;) {
            ::new (static_cast<void*>(dst + i)) T(std::move(src[i]));
            src[i].~T();
        }
    }
}

template <class T>
bool pointsInto(const T* p, const T* first, unsigned int count)
{
    return !std::less<const T*>()(p, first) && std::less<const T*>()(p, first + count);
}

} // namespace ContainerDetail

// Growable array of values stored contiguously. Elements are copy-constructed
// into storage from CMemory and destroyed explicitly, so any copyable T works.
// Capacity grows by capacity * 3 / 2 + 1 steps (0, 1, 2, 4, 7, 11, ...); a
// failed allocation leaves the array unchanged and the call reports false.
// Indexing past the count is a programmer error (asserted in debug builds).
// Not synchronised: the owner serialises access.
template <class T>
class CDataArray : public CObject
{
    TRELL_DECLARE_ALLOCATOR(u"CDataArray")

public:
    typedef T* iterator;
    typedef const T* const_iterator;

    CDataArray() noexcept : CObject(), m_pData(nullptr), m_uiCapacity(0), m_uiCount(0) {}

    // A copy is a fresh object (reference count 0) holding copies of the
    // elements; when its storage cannot be allocated it is empty.
    CDataArray(const CDataArray& other) : CDataArray() { copyFrom(other); }

    CDataArray(CDataArray&& other) noexcept
        : CObject(), m_pData(other.m_pData), m_uiCapacity(other.m_uiCapacity), m_uiCount(other.m_uiCount)
    {
        other.m_pData = nullptr;
        other.m_uiCapacity = 0;
        other.m_uiCount = 0;
    }

    ~CDataArray() override { clear(); }

    // Assignment copies the elements only; the reference count stays this object's.
    CDataArray& operator=(const CDataArray& other)
    {
        copyFrom(other);
        return *this;
    }

    CDataArray& operator=(CDataArray&& other) noexcept
    {
        if (this != &other) {
            clear();
            swap(other);
        }
        return *this;
    }

    // Replaces the content by copies of `other`'s elements; false (and this
    // array unchanged) when the storage cannot be allocated.
    bool copyFrom(const CDataArray& other)
    {
        if (this == &other)
            return true;
        T* data = nullptr;
        if (other.m_uiCount > 0) {
            data = ContainerDetail::allocateStorage<T>(other.m_uiCount);
            if (!data)
                return false;
            for (unsigned int i = 0; i < other.m_uiCount; ++i)
                ::new (static_cast<void*>(data + i)) T(other.m_pData[i]);
        }
        clear();
        m_pData = data;
        m_uiCapacity = other.m_uiCount;
        m_uiCount = other.m_uiCount;
        return true;
    }

    void swap(CDataArray& other) noexcept
    {
        std::swap(m_pData, other.m_pData);
        std::swap(m_uiCapacity, other.m_uiCapacity);
        std::swap(m_uiCount, other.m_uiCount);
    }

    // Empties the array (reset is what pools call to recycle it).
    void reset() override { clear(); }

    bool add(const T& value) { return insertValue(m_uiCount, value); }
    bool add(T&& value) { return insertValue(m_uiCount, std::move(value)); }

    // Inserts before position `index` (index == count appends); false for an
    // index past the count or when the storage cannot grow.
    bool insertAt(unsigned int index, const T& value) { return insertValue(index, value); }
    bool insertAt(unsigned int index, T&& value) { return insertValue(index, std::move(value)); }

    // Removes the element at `index`, moving the later ones down by one.
    bool removeAt(unsigned int index)
    {
        if (index >= m_uiCount)
            return false;
        m_pData[index].~T();
        ContainerDetail::relocateElements(m_pData + index, m_pData + index + 1, m_uiCount - index - 1);
        --m_uiCount;
        return true;
    }

    // Removes the first element equal to `value`.
    bool remove(const T& value)
    {
        int index = indexOf(value);
        return index >= 0 && removeAt(static_cast<unsigned int>(index));
    }

    // Destroys every element and gives the storage back.
    void clear()
    {
        ContainerDetail::destroyElements(m_pData, m_uiCount);
        ContainerDetail::freeStorage(m_pData);
        m_pData = nullptr;
        m_uiCapacity = 0;
        m_uiCount = 0;
    }

    // Makes room for at least `capacity` elements (exactly that many when it grows).
    bool reserve(unsigned int capacity)
    {
        if (capacity <= m_uiCapacity)
            return true;
        T* data = ContainerDetail::allocateStorage<T>(capacity);
        if (!data)
            return false;
        ContainerDetail::relocateElements(data, m_pData, m_uiCount);
        ContainerDetail::freeStorage(m_pData);
        m_pData = data;
        m_uiCapacity = capacity;
        return true;
    }

    unsigned int getCount() const { return m_uiCount; }
    unsigned int getCapacity() const { return m_uiCapacity; }
    bool isEmpty() const { return m_uiCount == 0; }

    T& operator[](unsigned int index)
    {
        assert(index < m_uiCount && "CDataArray index out of range");
        return m_pData[index];
    }
    const T& operator[](unsigned int index) const
    {
        assert(index < m_uiCount && "CDataArray index out of range");
        return m_pData[index];
    }

    // Null while the array has no storage.
    T* getData() { return m_pData; }
    const T* getData() const { return m_pData; }

    // Position of the first element equal to `value`, or -1.
    int indexOf(const T& value) const
    {
        for (unsigned int i = 0; i < m_uiCount && i <= static_cast<unsigned int>(INT_MAX); ++i) {
            if (m_pData[i] == value)
                return static_cast<int>(i);
        }
        return -1;
    }

    bool contains(const T& value) const { return indexOf(value) >= 0; }

    iterator begin() { return m_pData; }
    iterator end() { return m_pData + m_uiCount; }
    const_iterator begin() const { return m_pData; }
    const_iterator end() const { return m_pData + m_uiCount; }

private:
    // `value` may be one of this array's own elements.
    template <class U>
    bool insertValue(unsigned int index, U&& value)
    {
        if (index > m_uiCount || m_uiCount == UINT_MAX)
            return false;
        if (m_uiCount == m_uiCapacity) {
            unsigned int capacity = ContainerDetail::grownCapacity(m_uiCapacity, m_uiCount + 1, sizeof(T));
            T* data = capacity ? ContainerDetail::allocateStorage<T>(capacity) : nullptr;
            if (!data)
                return false;
            // The old block is still intact here, so `value` may live in it.
            ::new (static_cast<void*>(data + index)) T(std::forward<U>(value));
            ContainerDetail::relocateElements(data, m_pData, index);
            ContainerDetail::relocateElements(data + index + 1, m_pData + index, m_uiCount - index);
            ContainerDetail::freeStorage(m_pData);
            m_pData = data;
            m_uiCapacity = capacity;
        } else if (ContainerDetail::pointsInto(std::addressof(value), m_pData, m_uiCount)) {
            // Shifting would move the source: take it out first.
            T copy(std::forward<U>(value));
            ContainerDetail::relocateElements(m_pData + index + 1, m_pData + index, m_uiCount - index);
            ::new (static_cast<void*>(m_pData + index)) T(std::move(copy));
        } else {
            ContainerDetail::relocateElements(m_pData + index + 1, m_pData + index, m_uiCount - index);
            ::new (static_cast<void*>(m_pData + index)) T(std::forward<U>(value));
        }
        ++m_uiCount;
        return true;
    }

    T* m_pData;
    unsigned int m_uiCapacity;
    unsigned int m_uiCount;
};

} // namespace Trell
