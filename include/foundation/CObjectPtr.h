#pragma once

#include <foundation/CMemory.h>
#include <foundation/CObject.h>

#include <cstddef>
#include <utility>

namespace Trell {

// Holds exactly one reference on a CObject (or nothing). Constructing from an
// object or copying adds a reference; destruction releases it.
template <class T>
class CObjectPtr
{
    TRELL_DECLARE_ALLOCATOR(u"CObjectPtr")

public:
    CObjectPtr() noexcept : m_pObject(nullptr) {}
    CObjectPtr(std::nullptr_t) noexcept : m_pObject(nullptr) {}
    CObjectPtr(T* object) : m_pObject(object)
    {
        if (m_pObject)
            m_pObject->addRef();
    }
    CObjectPtr(const CObjectPtr& other) : CObjectPtr(other.m_pObject) {}
    template <class U>
    CObjectPtr(const CObjectPtr<U>& other) : CObjectPtr(other.get())
    {}
    CObjectPtr(CObjectPtr&& other) noexcept : m_pObject(other.m_pObject) { other.m_pObject = nullptr; }

    virtual ~CObjectPtr()
    {
        if (m_pObject)
            m_pObject->release();
        m_pObject = nullptr;
    }

    CObjectPtr& operator=(const CObjectPtr& other)
    {
        reset(other.m_pObject);
        return *this;
    }
    CObjectPtr& operator=(CObjectPtr&& other) noexcept
    {
        if (this != &other) {
            T* old = m_pObject;
            m_pObject = other.m_pObject;
            other.m_pObject = nullptr;
            if (old)
                old->release();
        }
        return *this;
    }
    CObjectPtr& operator=(T* object)
    {
        reset(object);
        return *this;
    }

    // Holds `object` instead (taking a reference on it first, so resetting to
    // the object already held is safe) and releases the old one.
    void reset(T* object = nullptr)
    {
        if (object)
            object->addRef();
        T* old = m_pObject;
        m_pObject = object;
        if (old)
            old->release();
    }

    T* get() const noexcept { return m_pObject; }
    T* operator->() const noexcept { return m_pObject; }
    T& operator*() const noexcept { return *m_pObject; }
    explicit operator bool() const noexcept { return m_pObject != nullptr; }
    bool isNull() const noexcept { return m_pObject == nullptr; }

    void swap(CObjectPtr& other) noexcept { std::swap(m_pObject, other.m_pObject); }

    template <class U>
    bool operator==(const CObjectPtr<U>& other) const noexcept
    {
        return m_pObject == other.get();
    }
    template <class U>
    bool operator!=(const CObjectPtr<U>& other) const noexcept
    {
        return m_pObject != other.get();
    }
    bool operator==(const T* object) const noexcept { return m_pObject == object; }
    bool operator!=(const T* object) const noexcept { return m_pObject != object; }
    bool operator==(std::nullptr_t) const noexcept { return m_pObject == nullptr; }
    bool operator!=(std::nullptr_t) const noexcept { return m_pObject != nullptr; }
    bool operator<(const CObjectPtr& other) const noexcept { return m_pObject < other.m_pObject; }

private:
    T* m_pObject;
};

} // namespace Trell
