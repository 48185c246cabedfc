#pragma once

#include <foundation/CMemory.h>
#include <foundation/CObject.h>

#include <cassert>
#include <climits>
#include <cstddef>
#include <iterator>
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
// list unchanged and report false. Not synchronised: the owner serialises access.
template <class T>
class CDataList : public CObject
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
        explicit tagNode(U&& value) : data(std::forward<U>(value)), pPrev(nullptr), pNext(nullptr) {}
    };

    class iterator
    {
        TRELL_DECLARE_ALLOCATOR(u"CDataList::iterator")

    public:
        typedef std::forward_iterator_tag iterator_category;
        typedef T value_type;
        typedef std::ptrdiff_t difference_type;
        typedef T* pointer;
        typedef T& reference;
        explicit iterator(tagNode* node = nullptr) : m_pNode(node) {}
        T& operator*() const { return m_pNode->data; }
        T* operator->() const { return &m_pNode->data; }
        iterator& operator++()
        {
            m_pNode = m_pNode->pNext;
            return *this;
        }
        bool operator==(const iterator& other) const { return m_pNode == other.m_pNode; }
        bool operator!=(const iterator& other) const { return m_pNode != other.m_pNode; }

    private:
        tagNode* m_pNode;
    };

    class const_iterator
    {
        TRELL_DECLARE_ALLOCATOR(u"CDataList::const_iterator")

    public:
        typedef std::forward_iterator_tag iterator_category;
        typedef T value_type;
        typedef std::ptrdiff_t difference_type;
        typedef const T* pointer;
        typedef const T& reference;
        explicit const_iterator(const tagNode* node = nullptr) : m_pNode(node) {}
        const T& operator*() const { return m_pNode->data; }
        const T* operator->() const { return &m_pNode->data; }
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

    CDataList() noexcept : CObject(), m_pHead(nullptr), m_pTail(nullptr), m_pCursor(nullptr), m_uiCount(0) {}

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
        for (const tagNode* node = other.m_pHead; node; node = node->pNext) {
            if (!copy.add(node->data))
                return false;
        }
        clear();
        swap(copy);
        return true;
    }

    void swap(CDataList& other) noexcept
    {
        std::swap(m_pHead, other.m_pHead);
        std::swap(m_pTail, other.m_pTail);
        std::swap(m_pCursor, other.m_pCursor);
        std::swap(m_uiCount, other.m_uiCount);
    }

    void reset() override { clear(); }

    // Appends after the tail.
    bool add(const T& value) { return linkBefore(nullptr, value); }
    bool add(T&& value) { return linkBefore(nullptr, std::move(value)); }

    bool addHead(const T& value) { return linkBefore(m_pHead, value); }
    bool addHead(T&& value) { return linkBefore(m_pHead, std::move(value)); }

    // Inserts before position `index` (index == count appends).
    bool insertAt(unsigned int index, const T& value)
    {
        if (index > m_uiCount)
            return false;
        return linkBefore(index == m_uiCount ? nullptr : nodeAt(index), value);
    }
    bool insertAt(unsigned int index, T&& value)
    {
        if (index > m_uiCount)
            return false;
        return linkBefore(index == m_uiCount ? nullptr : nodeAt(index), std::move(value));
    }

    bool removeAt(unsigned int index)
    {
        if (index >= m_uiCount)
            return false;
        destroyNode(nodeAt(index));
        return true;
    }

    // Removes the first element (searching from the head) equal to `value`.
    bool remove(const T& value)
    {
        for (tagNode* node = m_pHead; node; node = node->pNext) {
            if (node->data == value) {
                destroyNode(node);
                return true;
            }
        }
        return false;
    }

    // Unlinks the head and returns its element. Meant for a non-empty list;
    // on an empty one it asserts in debug builds and gives T() otherwise.
    T takeFirst()
    {
        assert(m_pHead && "takeFirst on an empty CDataList");
        if (!m_pHead)
            return T();
        tagNode* node = m_pHead;
        T value(std::move(node->data));
        destroyNode(node);
        return value;
    }

    T takeLast()
    {
        assert(m_pTail && "takeLast on an empty CDataList");
        if (!m_pTail)
            return T();
        tagNode* node = m_pTail;
        T value(std::move(node->data));
        destroyNode(node);
        return value;
    }

    void clear()
    {
        tagNode* node = m_pHead;
        while (node) {
            tagNode* next = node->pNext;
            delete node;
            node = next;
        }
        m_pHead = m_pTail = m_pCursor = nullptr;
        m_uiCount = 0;
    }

    unsigned int getCount() const { return m_uiCount; }
    bool isEmpty() const { return m_uiCount == 0; }

    T& operator[](unsigned int index)
    {
        assert(index < m_uiCount && "CDataList index out of range");
        return nodeAt(index)->data;
    }
    const T& operator[](unsigned int index) const
    {
        assert(index < m_uiCount && "CDataList index out of range");
        return nodeAt(index)->data;
    }

    // First and last elements; only for a non-empty list.
    T& getFirst() { return m_pHead->data; }
    const T& getFirst() const { return m_pHead->data; }
    T& getLast() { return m_pTail->data; }
    const T& getLast() const { return m_pTail->data; }

    int indexOf(const T& value) const
    {
        int index = 0;
        for (const tagNode* node = m_pHead; node && index < INT_MAX; node = node->pNext, ++index) {
            if (node->data == value)
                return index;
        }
        return -1;
    }

    bool contains(const T& value) const { return indexOf(value) >= 0; }

    // Cursor walk. The move operations report whether the cursor stands on an element afterwards.
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
    // The element under the cursor, or null when the cursor is off the list.
    T* getCurrent() { return m_pCursor ? &m_pCursor->data : nullptr; }
    const T* getCurrent() const { return m_pCursor ? &m_pCursor->data : nullptr; }
    // Removes the element under the cursor; the cursor moves to the next one.
    // Reports whether the cursor still stands on an element.
    bool removeCurrent()
    {
        if (m_pCursor)
            destroyNode(m_pCursor);
        return m_pCursor != nullptr;
    }

    iterator begin() { return iterator(m_pHead); }
    iterator end() { return iterator(); }
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

    // Links a new node before `next` (null: after the tail).
    template <class U>
    bool linkBefore(tagNode* next, U&& value)
    {
        if (m_uiCount == UINT_MAX)
            return false;
        tagNode* node = new tagNode(std::forward<U>(value));
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

    void destroyNode(tagNode* node)
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
        delete node;
    }

    tagNode* m_pHead;
    tagNode* m_pTail;
    tagNode* m_pCursor;
    unsigned int m_uiCount;
};

} // namespace Trell
