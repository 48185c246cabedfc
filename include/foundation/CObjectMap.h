#pragma once

#include <foundation/CCompare.h>
#include <foundation/CMemory.h>
#include <foundation/CObject.h>
#include <foundation/detail/CAvlTreeCore.h>

#include <cassert>
#include <utility>

namespace Trell {

// Ordered map from keys to object pointers, with the tree, index cache and
// cursor of CDataMap (both take them from ContainerDetail). An owning map
// deletes a value when its entry is removed, when the map is cleared or when
// the map dies; take() unlinks an entry and hands its object out instead. A
// refused insert (existing key) never takes ownership of the object offered.
// Not copyable: two maps must never own the same objects. Range-for yields
// the entries (`key`, `value`). Not synchronised: the owner serialises access.
template <class K, class V, class Compare = tagNumCompare<K>>
class CObjectMap : public CObject, public ContainerDetail::CAvlMapSurface<CObjectMap<K, V, Compare>, K>
{
    TRELL_DECLARE_ALLOCATOR(u"CObjectMap")

public:
    // One entry as users see it.
    struct tagPair
    {
        TRELL_DECLARE_ALLOCATOR(u"CObjectMap::tagPair")

        const K key;
        V* value;

        tagPair(const K& k, V* v) : key(k), value(v) {}
        // The key built in place from `keyArgs`, so that a key made at its
        // final size is never copied.
        template <class... A>
        tagPair(std::piecewise_construct_t, V* v, A&&... keyArgs) : key(std::forward<A>(keyArgs)...), value(v)
        {}
    };

    struct tagNode : public ContainerDetail::tagAvlNode<tagPair, tagNode>
    {
        TRELL_DECLARE_ALLOCATOR(u"CObjectMap::tagNode")

        tagNode(const K& k, V* v) : ContainerDetail::tagAvlNode<tagPair, tagNode>(k, v) {}
        template <class... A>
        tagNode(std::piecewise_construct_t, V* v, A&&... keyArgs)
            : ContainerDetail::tagAvlNode<tagPair, tagNode>(std::piecewise_construct, v, std::forward<A>(keyArgs)...)
        {}
    };

private:
    typedef ContainerDetail::CAvlTreeCore<tagNode, K, Compare> Tree;
    friend class ContainerDetail::CAvlMapSurface<CObjectMap, K>;

public:
    template <class N>
    using tagIterator = ContainerDetail::CAvlTreeIterator<Tree, N>;
    typedef tagIterator<tagNode> iterator;
    typedef tagIterator<const tagNode> const_iterator;

    explicit CObjectMap(bool owning = false, bool balancing = true) noexcept
        : CObject(), m_bBalancing(balancing), m_bOwning(owning)
    {}

    CObjectMap(CObjectMap&& other) noexcept : CObjectMap(other.m_bOwning, other.m_bBalancing) { swap(other); }

    CObjectMap& operator=(CObjectMap&& other) noexcept
    {
        if (this != &other) {
            clear();
            swap(other);
        }
        return *this;
    }

    CObjectMap(const CObjectMap&) = delete;
    CObjectMap& operator=(const CObjectMap&) = delete;

    ~CObjectMap() override { clear(); }

    void swap(CObjectMap& other) noexcept
    {
        std::swap(m_bBalancing, other.m_bBalancing);
        std::swap(m_bOwning, other.m_bOwning);
        m_tree.swap(other.m_tree);
    }

    void reset() override { clear(); }

    void setOwning(bool owning) { m_bOwning = owning; }
    bool isOwning() const { return m_bOwning; }

    // Adds an entry; false when the key is already present (the old object
    // stays and `value` is not taken over) or the node cannot be allocated.
    bool insert(const K& key, V* value)
    {
        return m_tree.insert(key, m_bBalancing, [&] { return new tagNode(key, value); }) != nullptr;
    }

    // Batch insertion for builders that collect a whole set of entries first.
    // Takes every node (made with `new tagNode`); their keys must be in
    // strictly ascending order. Into an empty map they are linked at once as
    // one balanced tree; otherwise each is inserted as insert() would do it,
    // and a node whose key is already present is destroyed (its object too
    // when owning). Returns how many entries were added.
    unsigned int adoptSorted(tagNode* const* nodes, unsigned int count)
    {
        assert(sortedStrictly(nodes, count) && "CObjectMap::adoptSorted needs strictly ascending keys");
        if (m_tree.adoptSorted(nodes, count))
            return count;
        unsigned int added = 0;
        for (unsigned int i = 0; i < count; ++i) {
            tagNode* node = nodes[i];
            if (m_tree.insert(node->key, m_bBalancing, [node] { return node; })) {
                ++added;
            } else {
                if (m_bOwning)
                    delete node->value;
                delete node;
            }
        }
        return added;
    }

    // Removes the entry, deleting its object when owning.
    bool remove(const K& key)
    {
        tagNode* node = m_tree.findNode(key);
        if (!node)
            return false;
        V* value = unlink(node);
        if (m_bOwning)
            delete value;
        return true;
    }

    // Removes the entry and returns its object without deleting it; null when absent.
    V* take(const K& key)
    {
        tagNode* node = m_tree.findNode(key);
        return node ? unlink(node) : nullptr;
    }

    // Empties the map, deleting the objects when owning.
    void clear()
    {
        bool owning = m_bOwning;
        m_tree.clear([owning](tagNode* node) {
            if (owning)
                delete node->value;
        });
    }

    // The object stored under `key`, or null.
    V* find(const K& key) const
    {
        const tagNode* node = m_tree.findNode(key);
        return node ? node->value : nullptr;
    }

    // Key at `index`; the index must be below getCount().
    const K& getKeyAt(unsigned int index) const
    {
        assert(index < m_tree.uiCount && "CObjectMap index out of range");
        return m_tree.nodeAt(index)->key;
    }
    // Object at `index`, or null past the end.
    V* getValueAt(unsigned int index) const
    {
        const tagNode* node = m_tree.nodeAt(index);
        return node ? node->value : nullptr;
    }

private:
    static bool sortedStrictly(tagNode* const* nodes, unsigned int count)
    {
        Compare compare;
        for (unsigned int i = 1; i < count; ++i) {
            if (compare(nodes[i - 1]->key, nodes[i]->key) >= 0)
                return false;
        }
        return true;
    }

    // Unlinks and frees the node, returning its object.
    V* unlink(tagNode* node)
    {
        m_tree.erase(node, m_bBalancing);
        V* value = node->value;
        delete node;
        return value;
    }

    bool m_bBalancing;
    bool m_bOwning;
    // Root, index cache, count and cursor, in that order.
    Tree m_tree;
};

} // namespace Trell
