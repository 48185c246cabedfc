#pragma once

#include <foundation/CMemory.h>
#include <foundation/CObject.h>

#include <climits>
#include <cstddef>
#include <iterator>
#include <utility>

namespace Trell {

// Doubly linked list of object pointers. An owning list deletes an object
// (through its virtual destructor, whatever its reference count) when it is
// removed, cleared or the list dies; the take operations unlink an object
// and hand it out without deleting it. Cursor and index rules are those of
// CDataList; on this flavour out-of-range reads give null. Not copyable: two
// lists must never own the same objects. Not synchronised: the owner
// serialises access.
template <class T>
class CObjectList : public CObject
{
    TRELL_DECLARE_ALLOCATOR(u"CObjectList")

public:
    struct tagNode
    {
        TRELL_DECLARE_ALLOCATOR(u"CObjectList::tagNode")

        T* pObject;
        tagNode* pPrev;
        tagNode* pNext;
    };

    class const_iterator
    {
        TRELL_DECLARE_ALLOCATOR(u"CObjectList::const_iterator")

    public:
        typedef std::forward_iterator_tag iterator_category;
        typedef T* value_type;
        typedef std::ptrdiff_t difference_type;
        typedef T* const* pointer;
        typedef T* reference;
        explicit const_iterator(const tagNode* node = nullptr) : m_pNode(node) {}
        T* operator*() const { return m_pNode->pObject; }
        const_iterator& operator++()
        {
            m_pNode = m_pNode->pNext;
            return *this;
        }
        bool operator==(const const_iterator& other) const { return m_pNode == other.m_pNode; }
        bool operator!=(const const_iterator& other) const { return m_pNode != other.m_pNode; }

    private:
        const tagNode* m_pNode;
    };

    explicit CObjectList(bool owning = false) noexcept
        : CObject(), m_bOwning(owning), m_pHead(nullptr), m_pTail(nullptr), m_pCursor(nullptr), m_uiCount(0) {}

    CObjectList(CObjectList&& other) noexcept : CObjectList(other.m_bOwning) { swap(other); }

    CObjectList& operator=(CObjectList&& other) noexcept
    {
        if (this != &other) {
            clear();
            swap(other);
        }
        return *this;
    }

    CObjectList(const CObjectList&) = delete;
    CObjectList& operator=(const CObjectList&) = delete;

    ~CObjectList() override { clear(); }

    void swap(CObjectList& other) noexcept
    {
        std::swap(m_bOwning, other.m_bOwning);
        std::swap(m_pHead, other.m_pHead);
        std::swap(m_pTail, other.m_pTail);
        std::swap(m_pCursor, other.m_pCursor);
        std::swap(m_uiCount, other.m_uiCount);
    }

    void reset() override { clear(); }

    void setOwning(bool owning) { m_bOwning = owning; }
    bool isOwning() const { return m_bOwning; }

    // Appends after the tail; false when the node cannot be allocated.
    bool add(T* object) { return linkBefore(nullptr, object); }
    bool addHead(T* object) { return linkBefore(m_pHead, object); }

    // Inserts before position `index` (index == count appends).
    bool insertAt(unsigned int index, T* object)
    {
        if (index > m_uiCount)
            return false;
        return linkBefore(index == m_uiCount ? nullptr : nodeAt(index), object);
    }

    // Removes the object at `index`, deleting it when owning.
    bool removeAt(unsigned int index)
    {
        if (index >= m_uiCount)
            return false;
        destroy(unlink(nodeAt(index)));
        return true;
    }

    // Removes the first occurrence of `object` (searching from the head),
    // deleting it when owning.
    bool remove(T* object)
    {
        for (tagNode* node = m_pHead; node; node = node->pNext) {
            if (node->pObject == object) {
                destroy(unlink(node));
                return true;
            }
        }
        return false;
    }

    // Unlink without deleting; null when there is nothing to take.
    T* takeFirst() { return m_pHead ? unlink(m_pHead) : nullptr; }
    T* takeLast() { return m_pTail ? unlink(m_pTail) : nullptr; }
    T* takeAt(unsigned int index) { return index < m_uiCount ? unlink(nodeAt(index)) : nullptr; }

    // Empties the list, deleting the objects when owning.
    void clear()
    {
        tagNode* node = m_pHead;
        m_pHead = m_pTail = m_pCursor = nullptr;
        m_uiCount = 0;
        while (node) {
            tagNode* next = node->pNext;
            T* object = node->pObject;
            delete node;
            destroy(object);
            node = next;
        }
    }

    unsigned int getCount() const { return m_uiCount; }
    bool isEmpty() const { return m_uiCount == 0; }

    // The object at `index`, or null past the end.
    T* operator[](unsigned int index) const { return getAt(index); }
    T* getAt(unsigned int index) const { return index < m_uiCount ? nodeAt(index)->pObject : nullptr; }
    T* getFirst() const { return m_pHead ? m_pHead->pObject : nullptr; }
    T* getLast() const { return m_pTail ? m_pTail->pObject : nullptr; }

    int indexOf(const T* object) const
    {
        int index = 0;
        for (const tagNode* node = m_pHead; node && index < INT_MAX; node = node->pNext, ++index) {
            if (node->pObject == object)
                return index;
        }
        return -1;
    }
    bool contains(const T* object) const { return indexOf(object) >= 0; }

    // Cursor walk; each move reports whether the cursor stands on an element.
    bool moveFirst()
    {
        m_pCursor = m_pHead;
        return m_pCursor != nullptr;
    }
    bool moveLast()
    {
        m_pCursor = m_pTail;
        return m_pCursor != nullptr;
    }
    bool moveNext()
    {
        if (m_pCursor)
            m_pCursor = m_pCursor->pNext;
        return m_pCursor != nullptr;
    }
    bool movePrev()
    {
        if (m_pCursor)
            m_pCursor = m_pCursor->pPrev;
        return m_pCursor != nullptr;
    }
    // The object under the cursor, or null when the cursor is off the list.
    T* getCurrent() const { return m_pCursor ? m_pCursor->pObject : nullptr; }
    // Removes the object under the cursor (deleting it when owning); the
    // cursor moves to the next one. Reports whether it stands on an element.
    bool removeCurrent()
    {
        if (m_pCursor)
            destroy(unlink(m_pCursor));
        return m_pCursor != nullptr;
    }
    // Unlinks the object under the cursor without deleting it; null when off the list.
    T* takeCurrent() { return m_pCursor ? unlink(m_pCursor) : nullptr; }

    const_iterator begin() const { return const_iterator(m_pHead); }
    const_iterator end() const { return const_iterator(); }

private:
    tagNode* nodeAt(unsigned int index) const
    {
        tagNode* node;
        if (index < m_uiCount / 2) {
            node = m_pHead;
            for (unsigned int i = 0; i < index; ++i)
                node = node->pNext;
        } else {
            node = m_pTail;
            for (unsigned int i = m_uiCount - 1; i > index; --i)
                node = node->pPrev;
        }
        return node;
    }

    bool linkBefore(tagNode* next, T* object)
    {
        if (m_uiCount == UINT_MAX)
            return false;
        tagNode* node = new tagNode{object, nullptr, nullptr};
        if (!node)
            return false;
        node->pNext = next;
        node->pPrev = next ? next->pPrev : m_pTail;
        if (node->pPrev)
            node->pPrev->pNext = node;
        else
            m_pHead = node;
        if (next)
            next->pPrev = node;
        else
            m_pTail = node;
        if (!m_pCursor && m_uiCount == 0)
            m_pCursor = node;
        ++m_uiCount;
        return true;
    }

    // Unlinks and frees the node and returns its object.
    T* unlink(tagNode* node)
    {
        if (node->pPrev)
            node->pPrev->pNext = node->pNext;
        else
            m_pHead = node->pNext;
        if (node->pNext)
            node->pNext->pPrev = node->pPrev;
        else
            m_pTail = node->pPrev;
        if (m_pCursor == node)
            m_pCursor = node->pNext;
        --m_uiCount;
        T* object = node->pObject;
        delete node;
        return object;
    }

    void destroy(T* object)
    {
        if (m_bOwning)
            delete object;
    }

    bool m_bOwning;
    tagNode* m_pHead;
    tagNode* m_pTail;
    tagNode* m_pCursor;
    unsigned int m_uiCount;
};

} // namespace Trell
