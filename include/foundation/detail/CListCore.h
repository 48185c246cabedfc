#pragma once

#include <foundation/CMemory.h>

#include <climits>
#include <cstddef>
#include <iterator>
#include <utility>

namespace Trell {

namespace ContainerDetail {

// The doubly linked list behind CDataList and CObjectList: head, tail,
// cursor and count, in that order, and the linking rules both follow. Each
// list keeps its own node type (allocated under its own name) with `pPrev`
// and `pNext`, and decides what a node holds and what dies with it. The
// cursor becomes the first node when the first element is added and moves
// to the next node when its node is unlinked.
template <class Node>
struct CListCore
{
    TRELL_DECLARE_ALLOCATOR(u"CListCore")

    Node* pHead;
    Node* pTail;
    Node* pCursor;
    unsigned int uiCount;

    CListCore() noexcept : pHead(nullptr), pTail(nullptr), pCursor(nullptr), uiCount(0) {}
    CListCore(const CListCore&) = delete;
    CListCore& operator=(const CListCore&) = delete;

    // The node at `index` (below the count), walking from the nearer end.
    Node* nodeAt(unsigned int index) const
    {
        Node* node;
        if (index < uiCount / 2) {
            node = pHead;
            for (unsigned int i = 0; i < index; ++i)
                node = node->pNext;
        } else {
            node = pTail;
            for (unsigned int i = uiCount - 1; i > index; --i)
                node = node->pPrev;
        }
        return node;
    }

    // Links the node made by `make()` before `next` (null: after the tail);
    // false when the count is full or the allocation fails.
    template <class Make>
    bool linkBefore(Node* next, Make make)
    {
        if (uiCount == UINT_MAX)
            return false;
        Node* node = make();
        if (!node)
            return false;
        node->pNext = next;
        node->pPrev = next ? next->pPrev : pTail;
        if (node->pPrev)
            node->pPrev->pNext = node;
        else
            pHead = node;
        if (next)
            next->pPrev = node;
        else
            pTail = node;
        if (!pCursor && uiCount == 0)
            pCursor = node;
        ++uiCount;
        return true;
    }

    // Inserts before position `index` (index == count appends).
    template <class Make>
    bool insertAt(unsigned int index, Make make)
    {
        if (index > uiCount)
            return false;
        return linkBefore(index == uiCount ? nullptr : nodeAt(index), make);
    }

    // Takes `node` out; the caller frees it.
    void unlink(Node* node)
    {
        if (node->pPrev)
            node->pPrev->pNext = node->pNext;
        else
            pHead = node->pNext;
        if (node->pNext)
            node->pNext->pPrev = node->pPrev;
        else
            pTail = node->pPrev;
        if (pCursor == node)
            pCursor = node->pNext;
        --uiCount;
    }

    // Empties the list first and then hands each former node, head first, to
    // `dispose`, which frees it; whatever it destroys sees an empty list.
    template <class Dispose>
    void clear(Dispose dispose)
    {
        Node* node = pHead;
        pHead = pTail = pCursor = nullptr;
        uiCount = 0;
        while (node) {
            Node* next = node->pNext;
            dispose(node);
            node = next;
        }
    }

    // The first node, from the head, for which `match(node)` holds, or null.
    template <class Match>
    Node* findFirst(Match match) const
    {
        for (Node* node = pHead; node; node = node->pNext) {
            if (match(node))
                return node;
        }
        return nullptr;
    }

    // Position of the first node for which `match(node)` holds, or -1.
    template <class Match>
    int indexOf(Match match) const
    {
        int index = 0;
        for (const Node* node = pHead; node && index < INT_MAX; node = node->pNext, ++index) {
            if (match(node))
                return index;
        }
        return -1;
    }

    void swap(CListCore& other) noexcept
    {
        std::swap(pHead, other.pHead);
        std::swap(pTail, other.pTail);
        std::swap(pCursor, other.pCursor);
        std::swap(uiCount, other.uiCount);
    }
};

// Position and stepping of a list iterator along pNext; `Iterator` (the
// derived iterator, CRTP) adds what it yields from `m_pNode`.
template <class Iterator, class N>
class CListIteratorBase
{
    TRELL_DECLARE_ALLOCATOR(u"CListIteratorBase")

public:
    typedef std::forward_iterator_tag iterator_category;
    typedef std::ptrdiff_t difference_type;

    Iterator& operator++()
    {
        m_pNode = m_pNode->pNext;
        return static_cast<Iterator&>(*this);
    }
    friend bool operator==(const Iterator& a, const Iterator& b) { return a.m_pNode == b.m_pNode; }
    friend bool operator!=(const Iterator& a, const Iterator& b) { return a.m_pNode != b.m_pNode; }

protected:
    explicit CListIteratorBase(N* node) : m_pNode(node) {}

    N* m_pNode;
};

// The public members the two lists share, written once. `List` (the derived
// list, CRTP) provides `m_list` (a CListCore) and befriends this class.
template <class List>
class CListSurface
{
    TRELL_DECLARE_ALLOCATOR(u"CListSurface")

public:
    unsigned int getCount() const { return list().uiCount; }
    bool isEmpty() const { return list().uiCount == 0; }

    // Cursor walk; each move reports whether the cursor stands on an element.
    bool moveFirst() { return (list().pCursor = list().pHead) != nullptr; }
    bool moveLast() { return (list().pCursor = list().pTail) != nullptr; }
    bool moveNext()
    {
        auto& core = list();
        if (core.pCursor)
            core.pCursor = core.pCursor->pNext;
        return core.pCursor != nullptr;
    }
    bool movePrev()
    {
        auto& core = list();
        if (core.pCursor)
            core.pCursor = core.pCursor->pPrev;
        return core.pCursor != nullptr;
    }

private:
    auto& list() { return static_cast<List&>(*this).m_list; }
    const auto& list() const { return static_cast<const List&>(*this).m_list; }
};

} // namespace ContainerDetail

} // namespace Trell
