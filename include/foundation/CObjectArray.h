#pragma once

#include <foundation/CDataArray.h>
#include <foundation/CMemory.h>
#include <foundation/CObject.h>

#include <cassert>
#include <climits>

namespace Trell {

// Growable array of object pointers. An owning array deletes an object when
// it is removed, cleared or the array dies (whatever its reference count);
// the take operations hand an object out without deleting it. Growth, index
// rules and failure results are those of CDataArray. Not copyable: two
// arrays must never own the same objects. Not synchronised: the owner
// serialises access.
template <class T>
class CObjectArray : public CObject
{
    TRELL_DECLARE_ALLOCATOR(u"CObjectArray")

public:
    typedef T* const* const_iterator;

    explicit CObjectArray(bool owning = false) noexcept
        : CObject(), m_ppData(nullptr), m_uiCapacity(0), m_uiCount(0), m_bOwning(owning)
    {}

    CObjectArray(CObjectArray&& other) noexcept : CObjectArray(other.m_bOwning) { swap(other); }

    CObjectArray& operator=(CObjectArray&& other) noexcept
    {
        if (this != &other) {
            clear();
            swap(other);
        }
        return *this;
    }

    CObjectArray(const CObjectArray&) = delete;
    CObjectArray& operator=(const CObjectArray&) = delete;

    ~CObjectArray() override { clear(); }

    void swap(CObjectArray& other) noexcept
    {
        std::swap(m_ppData, other.m_ppData);
        std::swap(m_uiCapacity, other.m_uiCapacity);
        std::swap(m_uiCount, other.m_uiCount);
        std::swap(m_bOwning, other.m_bOwning);
    }

    void reset() override { clear(); }

    void setOwning(bool owning) { m_bOwning = owning; }
    bool isOwning() const { return m_bOwning; }

    bool add(T* object) { return insertAt(m_uiCount, object); }

    bool insertAt(unsigned int index, T* object)
    {
        if (index > m_uiCount || m_uiCount == UINT_MAX)
            return false;
        if (m_uiCount == m_uiCapacity) {
            unsigned int capacity = ContainerDetail::grownCapacity(m_uiCapacity, m_uiCount + 1, sizeof(T*));
            if (!capacity || !reserve(capacity))
                return false;
        }
        ContainerDetail::relocateElements(m_ppData + index + 1, m_ppData + index, m_uiCount - index);
        m_ppData[index] = object;
        ++m_uiCount;
        return true;
    }

    // Removes the pointer at `index`, deleting the object when owning.
    bool removeAt(unsigned int index)
    {
        if (index >= m_uiCount)
            return false;
        destroy(takeAt(index));
        return true;
    }

    // Removes the first occurrence of `object`, deleting it when owning.
    bool remove(T* object)
    {
        int index = indexOf(object);
        return index >= 0 && removeAt(static_cast<unsigned int>(index));
    }

    // Removes the pointer at `index` without deleting the object; null past the end.
    T* takeAt(unsigned int index)
    {
        if (index >= m_uiCount)
            return nullptr;
        T* object = m_ppData[index];
        ContainerDetail::relocateElements(m_ppData + index, m_ppData + index + 1, m_uiCount - index - 1);
        --m_uiCount;
        return object;
    }

    // The first object, unlinked and not deleted; null when empty.
    T* takeFirst() { return takeAt(0); }
    T* takeLast() { return m_uiCount ? takeAt(m_uiCount - 1) : nullptr; }

    // Empties the array (deleting the objects when owning) and frees the storage.
    void clear()
    {
        T** data = m_ppData;
        unsigned int count = m_uiCount;
        m_ppData = nullptr;
        m_uiCapacity = 0;
        m_uiCount = 0;
        for (unsigned int i = 0; i < count; ++i)
            destroy(data[i]);
        ContainerDetail::freeStorage(data);
    }

    bool reserve(unsigned int capacity)
    {
        if (capacity <= m_uiCapacity)
            return true;
        T** data = ContainerDetail::allocateStorage<T*>(capacity);
        if (!data)
            return false;
        ContainerDetail::relocateElements(data, m_ppData, m_uiCount);
        ContainerDetail::freeStorage(m_ppData);
        m_ppData = data;
        m_uiCapacity = capacity;
        return true;
    }

    unsigned int getCount() const { return m_uiCount; }
    unsigned int getCapacity() const { return m_uiCapacity; }
    bool isEmpty() const { return m_uiCount == 0; }

    T* operator[](unsigned int index) const
    {
        assert(index < m_uiCount && "CObjectArray index out of range");
        return m_ppData[index];
    }
    // The pointer at `index`, or null past the end.
    T* getAt(unsigned int index) const { return index < m_uiCount ? m_ppData[index] : nullptr; }

    int indexOf(const T* object) const
    {
        for (unsigned int i = 0; i < m_uiCount && i <= static_cast<unsigned int>(INT_MAX); ++i) {
            if (m_ppData[i] == object)
                return static_cast<int>(i);
        }
        return -1;
    }
    bool contains(const T* object) const { return indexOf(object) >= 0; }

    // Range-for yields the pointers; replacing one goes through removeAt/insertAt.
    const_iterator begin() const { return m_ppData; }
    const_iterator end() const { return m_ppData + m_uiCount; }

private:
    void destroy(T* object)
    {
        if (m_bOwning)
            delete object;
    }

    T** m_ppData;
    unsigned int m_uiCapacity;
    unsigned int m_uiCount;
    bool m_bOwning;
};

} // namespace Trell
