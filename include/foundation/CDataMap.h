#pragma once

#include <foundation/CCompare.h>
#include <foundation/CMemory.h>
#include <foundation/CObject.h>
#include <foundation/detail/CAvlTreeCore.h>

#include <cassert>
#include <utility>

namespace Trell {

// Ordered map of values, kept as an AVL tree (or a plain search tree while
// balancing is switched off). Keys are unique under Compare; inserting an
// existing key is refused. Indexed access (getKeyAt, getValueAt, getAt) uses
// an index cache of the entries in ascending key order, built on demand and
// dropped by every insertion or removal. A cursor walks the entries in key
// order (moveFirst, moveNext, ..., getCurrent); insertions and removals reset it.
// Range-for yields the entries, whose fields `key` and `value` are public.
// The lookup, index, cursor and balancing members shared with CObjectMap come
// from ContainerDetail::CAvlMapSurface. Not synchronised: the owner
// serialises access.
template <class K, class V, class Compare = tagNumCompare<K>>
class CDataMap : public CObject, public ContainerDetail::CAvlMapSurface<CDataMap<K, V, Compare>, K>
{
    TRELL_DECLARE_ALLOCATOR(u"CDataMap")

public:
    // Key and value of one entry; tagNode adds the tree links after them.
    struct tagEntry
    {
        TRELL_DECLARE_ALLOCATOR(u"CDataMap::tagEntry")

        const K key;
        V value;

        tagEntry(const K& k, const V& v) : key(k), value(v) {}
    };

    struct tagNode : public ContainerDetail::tagAvlNode<tagEntry, tagNode>
    {
        TRELL_DECLARE_ALLOCATOR(u"CDataMap::tagNode")

        tagNode(const K& k, const V& v) : ContainerDetail::tagAvlNode<tagEntry, tagNode>(k, v) {}
    };

private:
    typedef ContainerDetail::CAvlTreeCore<tagNode, K, Compare> Tree;
    friend class ContainerDetail::CAvlMapSurface<CDataMap, K>;

public:
    template <class N>
    using tagIterator = ContainerDetail::CAvlTreeIterator<Tree, N>;
    typedef tagIterator<tagNode> iterator;
    typedef tagIterator<const tagNode> const_iterator;

    explicit CDataMap(bool balancing = true) noexcept : CObject(), m_bBalancing(balancing) {}

    // A copy is a fresh object (reference count 0) with copies of the entries
    // and the same balancing flag; when memory runs out it is empty.
    CDataMap(const CDataMap& other) : CDataMap(other.m_bBalancing) { copyFrom(other); }

    CDataMap(CDataMap&& other) noexcept : CDataMap(other.m_bBalancing) { swap(other); }

    ~CDataMap() override { clear(); }

    // Assignment copies the entries only; the reference count and the
    // balancing flag stay this object's.
    CDataMap& operator=(const CDataMap& other)
    {
        copyFrom(other);
        return *this;
    }

    CDataMap& operator=(CDataMap&& other) noexcept
    {
        if (this != &other) {
            clear();
            swap(other);
        }
        return *this;
    }

    // Replaces the content by copies of `other`'s entries; false (and this
    // map unchanged) when memory runs out.
    bool copyFrom(const CDataMap& other)
    {
        return m_tree.copyFrom(other.m_tree, [](const tagNode* node) { return new tagNode(node->key, node->value); });
    }

    void swap(CDataMap& other) noexcept
    {
        std::swap(m_bBalancing, other.m_bBalancing);
        m_tree.swap(other.m_tree);
    }

    void reset() override { clear(); }

    // Adds an entry; false when the key is already present (the old value
    // stays) or the node cannot be allocated.
    bool insert(const K& key, const V& value)
    {
        return m_tree.insert(key, m_bBalancing, [&] { return new tagNode(key, value); }) != nullptr;
    }

    // Stores `value` under `key`, replacing the value of an existing entry.
    bool set(const K& key, const V& value)
    {
        if (tagNode* node = m_tree.findNode(key)) {
            node->value = value;
            return true;
        }
        return insert(key, value);
    }

    bool remove(const K& key)
    {
        tagNode* node = m_tree.findNode(key);
        if (!node)
            return false;
        m_tree.erase(node, m_bBalancing);
        delete node;
        return true;
    }

    void clear()
    {
        m_tree.clear([](tagNode*) {});
    }

    // The value stored under `key`, or null.
    V* find(const K& key)
    {
        tagNode* node = m_tree.findNode(key);
        return node ? &node->value : nullptr;
    }
    const V* find(const K& key) const
    {
        const tagNode* node = m_tree.findNode(key);
        return node ? &node->value : nullptr;
    }

    // Key and value at `index`; the index must be below getCount().
    const K& getKeyAt(unsigned int index) const
    {
        assert(index < m_tree.uiCount && "CDataMap index out of range");
        return m_tree.nodeAt(index)->key;
    }
    V& getValueAt(unsigned int index)
    {
        assert(index < m_tree.uiCount && "CDataMap index out of range");
        return m_tree.nodeAt(index)->value;
    }
    const V& getValueAt(unsigned int index) const
    {
        assert(index < m_tree.uiCount && "CDataMap index out of range");
        return m_tree.nodeAt(index)->value;
    }

private:
    bool m_bBalancing;
    // Root, index cache, count and cursor, in that order.
    Tree m_tree;
};

} // namespace Trell
