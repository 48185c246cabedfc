#pragma once

#include <foundation/CCompare.h>
#include <foundation/CMemory.h>
#include <foundation/CObject.h>
#include <foundation/detail/CAvlTreeCore.h>

#include <cassert>
#include <cstddef>
#include <iterator>
#include <utility>

namespace Trell {

// Ordered set of unique values, kept in the AVL tree the maps use, always
// balanced. getAt reads through an index cache in ascending order, built on
// demand and dropped by every add or remove. Range-for yields the values in
// order. Not synchronised: the owner serialises access.
template <class T, class Compare = tagNumCompare<T>>
class CSet : public CObject
{
    TRELL_DECLARE_ALLOCATOR(u"CSet")

public:
    struct tagValue
    {
        TRELL_DECLARE_ALLOCATOR(u"CSet::tagValue")

        const T key;

        explicit tagValue(const T& value) : key(value) {}
    };

    struct tagNode : public ContainerDetail::tagAvlNode<tagValue, tagNode>
    {
        TRELL_DECLARE_ALLOCATOR(u"CSet::tagNode")

        explicit tagNode(const T& value) : ContainerDetail::tagAvlNode<tagValue, tagNode>(value) {}
    };

private:
    typedef ContainerDetail::CAvlTreeCore<tagNode, T, Compare> Tree;

public:
    // Yields the values rather than the nodes.
    class const_iterator
    {
        TRELL_DECLARE_ALLOCATOR(u"CSet::const_iterator")

    public:
        typedef std::forward_iterator_tag iterator_category;
        typedef T value_type;
        typedef std::ptrdiff_t difference_type;
        typedef const T* pointer;
        typedef const T& reference;
        explicit const_iterator(tagNode* node = nullptr) : m_node(node) {}
        const T& operator*() const { return m_node->key; }
        const T* operator->() const { return &m_node->key; }
        const_iterator& operator++()
        {
            ++m_node;
            return *this;
        }
        bool operator==(const const_iterator& other) const { return m_node == other.m_node; }
        bool operator!=(const const_iterator& other) const { return m_node != other.m_node; }

    private:
        ContainerDetail::CAvlTreeIterator<Tree, tagNode> m_node;
    };

    CSet() noexcept : CObject() {}

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
        return m_tree.copyFrom(other.m_tree, [](const tagNode* node) { return new tagNode(node->key); });
    }

    void swap(CSet& other) noexcept { m_tree.swap(other.m_tree); }

    void reset() override { clear(); }

    // False when an equal value is already present or memory runs out.
    bool add(const T& value)
    {
        return m_tree.insert(value, true, [&] { return new tagNode(value); }) != nullptr;
    }

    bool remove(const T& value)
    {
        tagNode* node = m_tree.findNode(value);
        if (!node)
            return false;
        m_tree.erase(node, true);
        delete node;
        return true;
    }

    void clear()
    {
        m_tree.clear([](tagNode*) {});
    }

    bool contains(const T& value) const { return m_tree.findNode(value) != nullptr; }
    unsigned int getCount() const { return m_tree.uiCount; }
    bool isEmpty() const { return m_tree.uiCount == 0; }

    // The value at `index` in ascending order; the index must be below getCount().
    const T& getAt(unsigned int index) const
    {
        assert(index < m_tree.uiCount && "CSet index out of range");
        return m_tree.nodeAt(index)->key;
    }

    // Consistency check for tests and debugging (see CDataMap).
    bool checkInvariants() const { return m_tree.checkInvariants(true); }

    const_iterator begin() const { return const_iterator(Tree::first(m_tree.pRoot)); }
    const_iterator end() const { return const_iterator(); }

private:
    // Root, index cache, count and the cursor the set does not use.
    Tree m_tree;
};

} // namespace Trell
