#pragma once

#include <foundation/CCompare.h>
#include <foundation/CDataMap.h>
#include <foundation/CMemory.h>
#include <foundation/CObject.h>

#include <cassert>
#include <climits>
#include <cstddef>
#include <iterator>
#include <utility>

namespace Trell {

// Ordered set of unique values, kept in an AVL tree under Compare. getAt
// reads through an index cache in ascending order, built on demand and
// dropped by every add or remove. Range-for yields the values in order.
// Not synchronised: the owner serialises access.
template <class T, class Compare = tagNumCompare<T>>
class CSet : public CObject
{
    TRELL_DECLARE_ALLOCATOR(u"CSet")

public:
    struct tagNode
    {
        TRELL_DECLARE_ALLOCATOR(u"CSet::tagNode")

        const T key;
        tagNode* pLeft;
        tagNode* pRight;
        tagNode* pParent;
        int iLeftHeight;
        int iRightHeight;
        int iBalance;

        explicit tagNode(const T& value)
            : key(value), pLeft(nullptr), pRight(nullptr), pParent(nullptr),
              iLeftHeight(0), iRightHeight(0), iBalance(0) {}
    };

private:
    typedef ContainerDetail::AvlTree<tagNode, T, Compare> Tree;

public:
    class const_iterator
    {
        TRELL_DECLARE_ALLOCATOR(u"CSet::const_iterator")

    public:
        typedef std::forward_iterator_tag iterator_category;
        typedef T value_type;
        typedef std::ptrdiff_t difference_type;
        typedef const T* pointer;
        typedef const T& reference;
        explicit const_iterator(tagNode* node = nullptr) : m_pNode(node) {}
        const T& operator*() const { return m_pNode->key; }
        const T* operator->() const { return &m_pNode->key; }
        const_iterator& operator++()
        {
            m_pNode = Tree::next(m_pNode);
            return *this;
        }
        bool operator==(const const_iterator& other) const { return m_pNode == other.m_pNode; }
        bool operator!=(const const_iterator& other) const { return m_pNode != other.m_pNode; }

    private:
        tagNode* m_pNode;
    };

    CSet() noexcept : CObject(), m_pRoot(nullptr), m_ppIndex(nullptr), m_uiCount(0) {}

    // A copy is a fresh object (reference count 0) with copies of the values;
    // when memory runs out it is empty.
    CSet(const CSet& other) : CSet() { copyFrom(other); }
    CSet(CSet&& other) noexcept : CSet() { swap(other); }
    ~CSet() override { clear(); }

    CSet& operator=(const CSet& other)
    {
        copyFrom(other);
        return *this;
    }
    CSet& operator=(CSet&& other) noexcept
    {
        if (this != &other) {
            clear();
            swap(other);
        }
        return *this;
    }

    // Replaces the content by copies of `other`'s values; false (and this
    // set unchanged) when memory runs out.
    bool copyFrom(const CSet& other)
    {
        if (this == &other)
            return true;
        if (other.m_uiCount == 0) {
            clear();
            return true;
        }
        tagNode** nodes = Tree::buildIndex(other.m_pRoot, other.m_uiCount);
        if (!nodes)
            return false;
        for (unsigned int i = 0; i < other.m_uiCount; ++i) {
            tagNode* copy = new tagNode(nodes[i]->key);
            if (!copy) {
                while (i-- > 0)
                    delete nodes[i];
                Tree::freeIndex(nodes);
                return false;
            }
            nodes[i] = copy;
        }
        clear();
        m_pRoot = Tree::linkBalanced(nodes, 0, other.m_uiCount, nullptr);
        m_uiCount = other.m_uiCount;
        Tree::freeIndex(nodes);
        return true;
    }

    void swap(CSet& other) noexcept
    {
        std::swap(m_pRoot, other.m_pRoot);
        std::swap(m_ppIndex, other.m_ppIndex);
        std::swap(m_uiCount, other.m_uiCount);
    }

    void reset() override { clear(); }

    // False when an equal value is already present or memory runs out.
    bool add(const T& value)
    {
        tagNode* parent;
        bool left;
        if (Tree::findSlot(m_pRoot, value, parent, left) || m_uiCount == UINT_MAX)
            return false;
        tagNode* node = new tagNode(value);
        if (!node)
            return false;
        Tree::linkLeaf(m_pRoot, node, parent, left, true);
        ++m_uiCount;
        Tree::freeIndex(m_ppIndex);
        return true;
    }

    bool remove(const T& value)
    {
        tagNode* node = Tree::find(m_pRoot, value);
        if (!node)
            return false;
        Tree::unlink(m_pRoot, node, true);
        delete node;
        --m_uiCount;
        Tree::freeIndex(m_ppIndex);
        return true;
    }

    void clear()
    {
        Tree::destroyAll(m_pRoot, [](tagNode*) {});
        Tree::freeIndex(m_ppIndex);
        m_uiCount = 0;
    }

    bool contains(const T& value) const { return Tree::find(m_pRoot, value) != nullptr; }
    unsigned int getCount() const { return m_uiCount; }
    bool isEmpty() const { return m_uiCount == 0; }

    // The value at `index` in ascending order; the index must be below getCount().
    const T& getAt(unsigned int index) const
    {
        assert(index < m_uiCount && "CSet index out of range");
        if (!m_ppIndex)
            m_ppIndex = Tree::buildIndex(m_pRoot, m_uiCount);
        if (m_ppIndex)
            return m_ppIndex[index]->key;
        tagNode* node = Tree::first(m_pRoot);
        while (index-- > 0)
            node = Tree::next(node);
        return node->key;
    }

    // Consistency check for tests and debugging (see CDataMap).
    bool checkInvariants() const { return Tree::check(m_pRoot, m_uiCount, true); }

    const_iterator begin() const { return const_iterator(Tree::first(m_pRoot)); }
    const_iterator end() const { return const_iterator(); }

private:
    tagNode* m_pRoot;
    mutable tagNode** m_ppIndex;
    unsigned int m_uiCount;
};

} // namespace Trell
