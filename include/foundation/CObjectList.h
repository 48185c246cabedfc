#pragma once

#include <foundation/CMemory.h>
#include <foundation/CObject.h>
#include <foundation/detail/CListCore.h>

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
class CObjectList : public CObject, public ContainerDetail::CListSurface<CObjectList<T>>
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

    class const_iterator : public ContainerDetail::CListIteratorBase<const_iterator, const tagNode>
    {
        TRELL_DECLARE_ALLOCATOR(u"CObjectList::const_iterator")

    public:
        typedef T* value_type;
        typedef T* const* pointer;
        typedef T* reference;
        explicit const_iterator(const tagNode* node = nullptr)
            : ContainerDetail::CListIteratorBase<const_iterator, const tagNode>(node)
        {}
        T* operator*() const { return this->m_pNode->pObject; }
    };

    explicit CObjectList(bool owning = false) noexcept : CObject(), m_bOwning(owning) {}

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
        m_list.swap(other.m_list);
    }

    void reset() override { clear(); }

    void setOwning(bool owning) { m_bOwning = owning; }
    bool isOwning() const { return m_bOwning; }

    // Appends after the tail; false when the node cannot be allocated.
    bool add(T* object) { return linkBefore(nullptr, object); }
    bool addHead(T* object) { return linkBefore(m_list.pHead, object); }

    // Inserts before position `index` (index == count appends).
    bool insertAt(unsigned int index, T* object)
    {
        return m_list.insertAt(index, [object] { return new tagNode{object, nullptr, nullptr}; });
    }

    // Removes the object at `index`, deleting it when owning.
    bool removeAt(unsigned int index)
    {
        if (index >= m_list.uiCount)
            return false;
        destroy(unlink(m_list.nodeAt(index)));
        return true;
    }

    // Removes the first occurrence of `object` (searching from the head),
    // deleting it when owning.
    bool remove(T* object)
    {
        tagNode* node = m_list.findFirst([object](const tagNode* n) { return n->pObject == object; });
        if (!node)
            return false;
        destroy(unlink(node));
        return true;
    }

    // Unlink without deleting; null when there is nothing to take.
    T* takeFirst() { return m_list.pHead ? unlink(m_list.pHead) : nullptr; }

    // Node-level append and take, for owners that keep the allocator out of
    // their critical sections: makeNode() before taking the lock, addNode()
    // under it; takeFirstNode() under the lock, then read the node's object
    // and freeNode() after releasing it. A node belongs to at most one list.
    static tagNode* makeNode(T* object) { return new tagNode{object, nullptr, nullptr}; }
    static void freeNode(tagNode* node) { delete node; }
    // Appends a node from makeNode(); false (the node stays the caller's)
    // when the list is full or the node is null.
    bool addNode(tagNode* node)
    {
        return m_list.linkBefore(nullptr, [node] { return node; });
    }
    // Unlinks the head node without freeing it or its object; null when empty.
    tagNode* takeFirstNode()
    {
        tagNode* node = m_list.pHead;
        if (!node)
            return nullptr;
        m_list.unlink(node);
        // Lists drained from the head are usually queues filled on another
        // core: start fetching what the next take will write (the node after
        // the new head) and what the caller will read (the new head's object).
        if (const tagNode* head = m_list.pHead) {
            __builtin_prefetch(head->pNext, 1);
            __builtin_prefetch(head->pObject, 0);
        }
        return node;
    }
    T* takeLast() { return m_list.pTail ? unlink(m_list.pTail) : nullptr; }
    T* takeAt(unsigned int index) { return index < m_list.uiCount ? unlink(m_list.nodeAt(index)) : nullptr; }

    // Empties the list, deleting the objects when owning.
    void clear()
    {
        m_list.clear([this](tagNode* node) {
            T* object = node->pObject;
            delete node;
            destroy(object);
        });
    }

    // The object at `index`, or null past the end.
    T* operator[](unsigned int index) const { return getAt(index); }
    T* getAt(unsigned int index) const { return index < m_list.uiCount ? m_list.nodeAt(index)->pObject : nullptr; }
    T* getFirst() const { return m_list.pHead ? m_list.pHead->pObject : nullptr; }
    T* getLast() const { return m_list.pTail ? m_list.pTail->pObject : nullptr; }

    int indexOf(const T* object) const
    {
        return m_list.indexOf([object](const tagNode* node) { return node->pObject == object; });
    }
    bool contains(const T* object) const { return indexOf(object) >= 0; }

    // The object under the cursor, or null when the cursor is off the list.
    T* getCurrent() const { return m_list.pCursor ? m_list.pCursor->pObject : nullptr; }
    // Removes the object under the cursor (deleting it when owning); the
    // cursor moves to the next one. Reports whether it stands on an element.
    bool removeCurrent()
    {
        if (m_list.pCursor)
            destroy(unlink(m_list.pCursor));
        return m_list.pCursor != nullptr;
    }
    // Unlinks the object under the cursor without deleting it; null when off the list.
    T* takeCurrent() { return m_list.pCursor ? unlink(m_list.pCursor) : nullptr; }

    const_iterator begin() const { return const_iterator(m_list.pHead); }
    const_iterator end() const { return const_iterator(); }

private:
    friend class ContainerDetail::CListSurface<CObjectList>;

    bool linkBefore(tagNode* next, T* object)
    {
        return m_list.linkBefore(next, [object] { return new tagNode{object, nullptr, nullptr}; });
    }

    // Unlinks and frees the node and returns its object.
    T* unlink(tagNode* node)
    {
        m_list.unlink(node);
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
    // Head, tail, cursor and count, in that order.
    ContainerDetail::CListCore<tagNode> m_list;
};

} // namespace Trell
