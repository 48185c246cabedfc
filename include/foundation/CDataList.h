#pragma once

#include <foundation/CMemory.h>
#include <foundation/CObject.h>
#include <foundation/detail/CListCore.h>

#include <cassert>
#include <utility>

namespace Trell {

// Doubly linked list of values. Besides range-for it keeps one cursor for
// step-by-step walks that may remove as they go:
//   for (bool ok = list.moveFirst(); ok; ) {
//       if (drop(*list.getCurrent())) ok = list.removeCurrent(); else ok = list.moveNext();
//   }
// The cursor is null on an empty list, becomes the first node when the first
// element is added, and moves to the next node when its node is removed.
// Indexed access walks from the nearer end. Failed node allocations leave the
// list unchanged and report false. Linking, cursor and count rules are shared
// with CObjectList (ContainerDetail::CListCore and CListSurface). Not
// synchronised: the owner serialises access.
template <class T>
class CDataList : public CObject, public ContainerDetail::CListSurface<CDataList<T>>
{
    TRELL_DECLARE_ALLOCATOR(u"CDataList")

public:
    struct tagNode
    {
        TRELL_DECLARE_ALLOCATOR(u"CDataList::tagNode")

        T data;
        tagNode* pPrev;
        tagNode* pNext;

        template <class U>
        explicit tagNode(U&& value) : data(std::forward<U>(value)), pPrev(nullptr), pNext(nullptr)
        {}
    };

    class iterator : public ContainerDetail::CListIteratorBase<iterator, tagNode>
    {
        TRELL_DECLARE_ALLOCATOR(u"CDataList::iterator")

    public:
        typedef T value_type;
        typedef T* pointer;
        typedef T& reference;
        explicit iterator(tagNode* node = nullptr) : ContainerDetail::CListIteratorBase<iterator, tagNode>(node) {}
        T& operator*() const { return this->m_pNode->data; }
        T* operator->() const { return &this->m_pNode->data; }
    };

    class const_iterator : public ContainerDetail::CListIteratorBase<const_iterator, const tagNode>
    {
        TRELL_DECLARE_ALLOCATOR(u"CDataList::const_iterator")

    public:
        typedef T value_type;
        typedef const T* pointer;
        typedef const T& reference;
        explicit const_iterator(const tagNode* node = nullptr)
            : ContainerDetail::CListIteratorBase<const_iterator, const tagNode>(node)
        {}
        const T& operator*() const { return this->m_pNode->data; }
        const T* operator->() const { return &this->m_pNode->data; }
    };

    CDataList() noexcept : CObject() {}

    // A copy is a fresh object (reference count 0) holding copies of the
    // elements; when a node cannot be allocated it is empty.
    CDataList(const CDataList& other) : CDataList() { copyFrom(other); }

    CDataList(CDataList&& other) noexcept : CDataList() { swap(other); }

    ~CDataList() override { clear(); }

    // Assignment copies the elements only; the reference count stays this object's.
    CDataList& operator=(const CDataList& other)
    {
        copyFrom(other);
        return *this;
    }

    CDataList& operator=(CDataList&& other) noexcept
    {
        if (this != &other) {
            clear();
            swap(other);
        }
        return *this;
    }

    // Replaces the content by copies of `other`'s elements; false (and this
    // list unchanged) when a node cannot be allocated.
    bool copyFrom(const CDataList& other)
    {
        if (this == &other)
            return true;
        CDataList copy;
        for (const tagNode* node = other.m_list.pHead; node; node = node->pNext) {
            if (!copy.add(node->data))
                return false;
        }
        clear();
        swap(copy);
        return true;
    }

    void swap(CDataList& other) noexcept { m_list.swap(other.m_list); }

    void reset() override { clear(); }

    // Appends after the tail.
    bool add(const T& value) { return linkBefore(nullptr, value); }
    bool add(T&& value) { return linkBefore(nullptr, std::move(value)); }

    bool addHead(const T& value) { return linkBefore(m_list.pHead, value); }
    bool addHead(T&& value) { return linkBefore(m_list.pHead, std::move(value)); }

    // Inserts before position `index` (index == count appends).
    bool insertAt(unsigned int index, const T& value)
    {
        return m_list.insertAt(index, [&] { return new tagNode(value); });
    }
    bool insertAt(unsigned int index, T&& value)
    {
        return m_list.insertAt(index, [&] { return new tagNode(std::move(value)); });
    }

    bool removeAt(unsigned int index)
    {
        if (index >= m_list.uiCount)
            return false;
        destroyNode(m_list.nodeAt(index));
        return true;
    }

    // Removes the first element (searching from the head) equal to `value`.
    bool remove(const T& value)
    {
        tagNode* node = m_list.findFirst([&](const tagNode* n) { return n->data == value; });
        if (!node)
            return false;
        destroyNode(node);
        return true;
    }

    // Unlinks the head and returns its element. Meant for a non-empty list;
    // on an empty one it asserts in debug builds and gives T() otherwise.
    T takeFirst()
    {
        assert(m_list.pHead && "takeFirst on an empty CDataList");
        return m_list.pHead ? take(m_list.pHead) : T();
    }

    T takeLast()
    {
        assert(m_list.pTail && "takeLast on an empty CDataList");
        return m_list.pTail ? take(m_list.pTail) : T();
    }

    void clear()
    {
        m_list.clear([](tagNode* node) { delete node; });
    }

    T& operator[](unsigned int index)
    {
        assert(index < m_list.uiCount && "CDataList index out of range");
        return m_list.nodeAt(index)->data;
    }
    const T& operator[](unsigned int index) const
    {
        assert(index < m_list.uiCount && "CDataList index out of range");
        return m_list.nodeAt(index)->data;
    }

    // First and last elements; only for a non-empty list.
    T& getFirst() { return m_list.pHead->data; }
    const T& getFirst() const { return m_list.pHead->data; }
    T& getLast() { return m_list.pTail->data; }
    const T& getLast() const { return m_list.pTail->data; }

    int indexOf(const T& value) const
    {
        return m_list.indexOf([&](const tagNode* node) { return node->data == value; });
    }

    bool contains(const T& value) const { return indexOf(value) >= 0; }

    // The element under the cursor, or null when the cursor is off the list.
    T* getCurrent() { return m_list.pCursor ? &m_list.pCursor->data : nullptr; }
    const T* getCurrent() const { return m_list.pCursor ? &m_list.pCursor->data : nullptr; }
    // Removes the element under the cursor; the cursor moves to the next one.
    // Reports whether the cursor still stands on an element.
    bool removeCurrent()
    {
        if (m_list.pCursor)
            destroyNode(m_list.pCursor);
        return m_list.pCursor != nullptr;
    }

    iterator begin() { return iterator(m_list.pHead); }
    iterator end() { return iterator(); }
    const_iterator begin() const { return const_iterator(m_list.pHead); }
    const_iterator end() const { return const_iterator(); }

private:
    friend class ContainerDetail::CListSurface<CDataList>;

    template <class U>
    bool linkBefore(tagNode* next, U&& value)
    {
        return m_list.linkBefore(next, [&] { return new tagNode(std::forward<U>(value)); });
    }

    T take(tagNode* node)
    {
        T value(std::move(node->data));
        destroyNode(node);
        return value;
    }

    void destroyNode(tagNode* node)
    {
        m_list.unlink(node);
        delete node;
    }

    // Head, tail, cursor and count, in that order.
    ContainerDetail::CListCore<tagNode> m_list;
};

} // namespace Trell
