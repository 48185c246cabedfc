#pragma once

#include <foundation/CMemory.h>
#include <foundation/CObjectPoolRef.h>
#include <foundation/Export.h>

namespace Trell {

// Root of the library's class tree: an intrusive, single-threaded reference
// count and an optional pool that takes the object back at count 0.
//
// The count starts at 0 (a new object holds no reference) and release() on a
// count of 0 does nothing, so an object nobody referenced lives until it is
// deleted explicitly. Counts are plain integers: an object shared between
// threads is referenced and released under its owner's lock.
class ECS_API CObject
{
    TRELL_DECLARE_ALLOCATOR(u"CObject")

public:
    constexpr CObject() noexcept : m_iRef(0), m_pObjectPool(nullptr) {}
    // Inline: every destruction in the library ends here, and an empty call
    // across the library costs more than the destruction itself.
    virtual ~CObject() = default;

    // Returns the object to its initial state; meant for derived classes and pools.
    virtual void reset();

    void addRef() { ++m_iRef; }
    void release();
    int getRef() const { return m_iRef; }
    void setObjectPool(CObjectPoolRef* pool) { m_pObjectPool = pool; }
    CObjectPoolRef* getObjectPool() const { return m_pObjectPool; }

protected:
    // Deliberately copies the source's count and pool: a copy starts with the
    // source's count, not with 0.
    constexpr CObject(const CObject& other) noexcept : m_iRef(other.m_iRef), m_pObjectPool(other.m_pObjectPool) {}
    CObject& operator=(const CObject& other) noexcept
    {
        m_iRef = other.m_iRef;
        m_pObjectPool = other.m_pObjectPool;
        return *this;
    }

private:
    int m_iRef;
    CObjectPoolRef* m_pObjectPool;
};

inline void CObject::release()
{
    if (m_iRef <= 0)
        return;
    if (--m_iRef == 0) {
        if (m_pObjectPool)
            m_pObjectPool->returnObject(this);
        else
            delete this;
    }
}

} // namespace Trell
