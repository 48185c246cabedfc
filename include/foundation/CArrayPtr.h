#pragma once

#include <foundation/CDataArray.h>
#include <foundation/CMemory.h>
#include <foundation/CObject.h>

#include <cassert>
#include <utility>

namespace Trell {

// Owns one heap array of T together with its element count, such as the
// bytes of a received frame (CArrayPtr<unsigned char>). Move-only: moving
// transfers the array and leaves the source empty. The storage comes from
// CArrayPtr<T>::allocate (CMemory, class id 0, elements value-initialised)
// and goes back through CArrayPtr<T>::deallocate; release() hands the array
// to the caller, who then frees it with deallocate(data, count).
template <class T>
class CArrayPtr : public CObject
{
    TRELL_DECLARE_ALLOCATOR(u"CArrayPtr")

public:
    typedef T* iterator;
    typedef const T* const_iterator;

    CArrayPtr() noexcept : CObject(), m_pData(nullptr), m_uiCount(0) {}

    // A new array of `count` value-initialised elements; empty when count is
    // 0 or the memory is not available (check getCount()).
    explicit CArrayPtr(unsigned int count) : CArrayPtr()
    {
        m_pData = allocate(count);
        m_uiCount = m_pData ? count : 0;
    }

    // Takes over `data` (from allocate) holding `count` elements.
    CArrayPtr(T* data, unsigned int count) noexcept : CObject(), m_pData(data), m_uiCount(data ? count : 0) {}

    CArrayPtr(CArrayPtr&& other) noexcept : CObject(), m_pData(other.m_pData), m_uiCount(other.m_uiCount)
    {
        other.m_pData = nullptr;
        other.m_uiCount = 0;
    }

    CArrayPtr& operator=(CArrayPtr&& other) noexcept
    {
        if (this != &other) {
            reset(other.m_pData, other.m_uiCount);
            other.m_pData = nullptr;
            other.m_uiCount = 0;
        }
        return *this;
    }

    CArrayPtr(const CArrayPtr&) = delete;
    CArrayPtr& operator=(const CArrayPtr&) = delete;

    ~CArrayPtr() override { deallocate(m_pData, m_uiCount); }

    // Storage for `count` value-initialised elements, or null.
    static T* allocate(unsigned int count)
    {
        T* data = ContainerDetail::allocateStorage<T>(count);
        if (data) {
            for (unsigned int i = 0; i < count; ++i)
                ::new (static_cast<void*>(data + i)) T();
        }
        return data;
    }

    // Destroys the `count` elements of `data` (from allocate) and frees it.
    static void deallocate(T* data, unsigned int count)
    {
        if (!data)
            return;
        ContainerDetail::destroyElements(data, count);
        CMemory::free(data);
    }

    // Frees the array and leaves the holder empty.
    void reset() override { reset(nullptr, 0); }

    // Frees the current array and takes over `data` with `count` elements.
    void reset(T* data, unsigned int count)
    {
        if (data == m_pData)
            return;
        T* old = m_pData;
        unsigned int oldCount = m_uiCount;
        m_pData = data;
        m_uiCount = data ? count : 0;
        deallocate(old, oldCount);
    }

    // Gives up ownership: returns the array (read getCount() first) and
    // leaves the holder empty.
    T* release() noexcept
    {
        T* data = m_pData;
        m_pData = nullptr;
        m_uiCount = 0;
        return data;
    }

    void swap(CArrayPtr& other) noexcept
    {
        std::swap(m_pData, other.m_pData);
        std::swap(m_uiCount, other.m_uiCount);
    }

    T* get() const noexcept { return m_pData; }
    unsigned int getCount() const noexcept { return m_uiCount; }
    bool isNull() const noexcept { return m_pData == nullptr; }
    explicit operator bool() const noexcept { return m_pData != nullptr; }

    T& operator[](unsigned int index) const
    {
        assert(index < m_uiCount && "CArrayPtr index out of range");
        return m_pData[index];
    }

    iterator begin() const { return m_pData; }
    iterator end() const { return m_pData + m_uiCount; }

private:
    T* m_pData;
    unsigned int m_uiCount;
};

} // namespace Trell
