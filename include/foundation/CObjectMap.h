#pragma once

#include <foundation/CCompare.h>
#include <foundation/CDataMap.h>
#include <foundation/CMemory.h>
#include <foundation/CObject.h>

#include <cassert>
#include <climits>
#include <cstddef>
#include <iterator>
#include <type_traits>
#include <utility>

namespace Trell {

// Ordered map from keys to object pointers, with the tree, index cache and
// cursor of CDataMap. An owning map deletes a value when its entry is
// removed, when the map is cleared or when the map dies; take() unlinks an
// entry and hands its object out instead. A refused insert (existing key)
// never takes ownership of the object offered. Not copyable: two maps must
// never own the same objects. Range-for yields the entries (`key`, `value`).
// Not synchronised: the owner serialises access.
template <class K, class V, class Compare = tagNumCompare<K>>
class CObjectMap : public CObject
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
    };

    struct tagNode : public tagPair
    {
        TRELL_DECLARE_ALLOCATOR(u"CObjectMap::tagNode")

        tagNode* pLeft;
        tagNode* pRight;
        tagNode* pParent;
        int iLeftHeight;
        int iRightHeight;
        int iBalance;

        tagNode(const K& k, V* v)
            : tagPair(k, v), pLeft(nullptr), pRight(nullptr), pParent(nullptr),
              iLeftHeight(0), iRightHeight(0), iBalance(0) {}
    };

private:
    typedef ContainerDetail::AvlTree<tagNode, K, Compare> Tree;

public:
    template <class N>
    class tagIterator
    {
        TRELL_DECLARE_ALLOCATOR(u"CObjectMap::tagIterator")

    public:
        typedef std::forward_iterator_tag iterator_category;
        typedef std::remove_const_t<N> value_type;
        typedef std::ptrdiff_t difference_type;
        typedef N* pointer;
        typedef N& reference;
        explicit tagIterator(N* node = nullptr) : m_pNode(node) {}
        N& operator*() const { return *m_pNode; }
        N* operator->() const { return m_pNode; }
        tagIterator& operator++()
        {
            m_pNode = Tree::next(const_cast<tagNode*>(m_pNode));
            return *this;
        }
        bool operator==(const tagIterator& other) const { return m_pNode == other.m_pNode; }
        bool operator!=(const tagIterator& other) const { return m_pNode != other.m_pNode; }

    private:
        N* m_pNode;
    };
    typedef tagIterator<tagNode> iterator;
    typedef tagIterator<const tagNode> const_iterator;

    explicit CObjectMap(bool owning = false, bool balancing = true) noexcept
        : CObject(), m_bBalancing(balancing), m_bOwning(owning), m_pRoot(nullptr), m_ppIndex(nullptr),
          m_uiCount(0), m_pCursor(nullptr) {}

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
        std::swap(m_pRoot, other.m_pRoot);
        std::swap(m_ppIndex, other.m_ppIndex);
        std::swap(m_uiCount, other.m_uiCount);
        std::swap(m_pCursor, other.m_pCursor);
    }

    void reset() override { clear(); }

    void setOwning(bool owning) { m_bOwning = owning; }
    bool isOwning() const { return m_bOwning; }

    // Adds an entry; false when the key is already present (the old object
    // stays and `value` is not taken over) or the node cannot be allocated.
    bool insert(const K& key, V* value)
    {
        tagNode* parent;
        bool left;
        if (Tree::findSlot(m_pRoot, key, parent, left) || m_uiCount == UINT_MAX)
            return false;
        tagNode* node = new tagNode(key, value);
        if (!node)
            return false;
        Tree::linkLeaf(m_pRoot, node, parent, left, m_bBalancing);
        structureChanged(1);
        return true;
    }

    // Removes the entry, deleting its object when owning.
    bool remove(const K& key)
    {
        tagNode* node = Tree::find(m_pRoot, key);
        if (!node)
            return false;
        destroy(unlink(node));
        return true;
    }

    // Removes the entry and returns its object without deleting it; null when absent.
    V* take(const K& key)
    {
        tagNode* node = Tree::find(m_pRoot, key);
        return node ? unlink(node) : nullptr;
    }

    // Empties the map, deleting the objects when owning.
    void clear()
    {
        Tree::freeIndex(m_ppIndex);
        m_uiCount = 0;
        m_pCursor = nullptr;
        tagNode* root = m_pRoot;
        m_pRoot = nullptr;
        bool owning = m_bOwning;
        Tree::destroyAll(root, [owning](tagNode* node) {
            if (owning)
                delete node->value;
        });
    }

    // The object stored under `key`, or null.
    V* find(const K& key) const
    {
        const tagNode* node = Tree::find(m_pRoot, key);
        return node ? node->value : nullptr;
    }
    tagNode* findNode(const K& key) { return Tree::find(m_pRoot, key); }
    const tagNode* findNode(const K& key) const { return Tree::find(m_pRoot, key); }
    bool contains(const K& key) const { return Tree::find(m_pRoot, key) != nullptr; }

    unsigned int getCount() const { return m_uiCount; }
    bool isEmpty() const { return m_uiCount == 0; }

    // The entry at `index` in ascending key order, or null past the end.
    tagNode* getAt(unsigned int index) { return nodeAt(index); }
    const tagNode* getAt(unsigned int index) const { return nodeAt(index); }

    // Key at `index`; the index must be below getCount().
    const K& getKeyAt(unsigned int index) const
    {
        assert(index < m_uiCount && "CObjectMap index out of range");
        return nodeAt(index)->key;
    }
    // Object at `index`, or null past the end.
    V* getValueAt(unsigned int index) const
    {
        const tagNode* node = nodeAt(index);
        return node ? node->value : nullptr;
    }

    tagNode* getFirst() { return Tree::first(m_pRoot); }
    tagNode* getLast() { return Tree::last(m_pRoot); }

    // Cursor walk in key order; each move reports whether the cursor stands on an entry.
    bool moveFirst()
    {
        m_pCursor = Tree::first(m_pRoot);
        return m_pCursor != nullptr;
    }
    bool moveLast()
    {
        m_pCursor = Tree::last(m_pRoot);
        return m_pCursor != nullptr;
    }
    bool moveNext()
    {
        if (m_pCursor)
            m_pCursor = Tree::next(m_pCursor);
        return m_pCursor != nullptr;
    }
    bool movePrev()
    {
        if (m_pCursor)
            m_pCursor = Tree::prev(m_pCursor);
        return m_pCursor != nullptr;
    }
    // The entry under the cursor, or null.
    tagNode* getCurrent() { return m_pCursor; }

    bool isBalancing() const { return m_bBalancing; }

    // As CDataMap::setBalancing: switching on relinks into a balanced tree.
    bool setBalancing(bool balancing)
    {
        if (balancing == m_bBalancing)
            return true;
        if (balancing && m_uiCount > 0) {
            tagNode** nodes = Tree::buildIndex(m_pRoot, m_uiCount);
            if (!nodes)
                return false;
            m_pRoot = Tree::linkBalanced(nodes, 0, m_uiCount, nullptr);
            Tree::freeIndex(nodes);
        }
        m_bBalancing = balancing;
        return true;
    }

    // Consistency check for tests and debugging (see CDataMap).
    bool checkInvariants() const { return Tree::check(m_pRoot, m_uiCount, m_bBalancing); }

    iterator begin() { return iterator(Tree::first(m_pRoot)); }
    iterator end() { return iterator(); }
    const_iterator begin() const { return const_iterator(Tree::first(m_pRoot)); }
    const_iterator end() const { return const_iterator(); }

private:
    void structureChanged(int delta)
    {
        m_uiCount += delta;
        m_pCursor = nullptr;
        Tree::freeIndex(m_ppIndex);
    }

    // Unlinks and frees the node, returning its object.
    V* unlink(tagNode* node)
    {
        Tree::unlink(m_pRoot, node, m_bBalancing);
        structureChanged(-1);
        V* value = node->value;
        delete node;
        return value;
    }

    void destroy(V* value)
    {
        if (m_bOwning)
            delete value;
    }

    tagNode* nodeAt(unsigned int index) const
    {
        if (index >= m_uiCount)
            return nullptr;
        if (!m_ppIndex)
            m_ppIndex = Tree::buildIndex(m_pRoot, m_uiCount);
        if (m_ppIndex)
            return m_ppIndex[index];
        tagNode* node = Tree::first(m_pRoot);
        while (index-- > 0)
            node = Tree::next(node);
        return node;
    }

    bool m_bBalancing;
    bool m_bOwning;
    tagNode* m_pRoot;
    mutable tagNode** m_ppIndex;
    unsigned int m_uiCount;
    tagNode* m_pCursor;
};

} // namespace Trell
