#pragma once

#include <foundation/CCompare.h>
#include <foundation/CMemory.h>
#include <foundation/CObject.h>

#include <cassert>
#include <climits>
#include <cstddef>
#include <iterator>
#include <type_traits>
#include <utility>

namespace Trell {

namespace ContainerDetail {

// The AVL tree shared by CDataMap, CObjectMap and CSet. A node type provides
// `key`, `pLeft`, `pRight`, `pParent`, `iLeftHeight`, `iRightHeight` and
// `iBalance` (left height minus right height; an empty subtree has height 0).
// Heights are only maintained while balancing is on. Every walk is iterative
// or bounded by the height of a balanced tree, because an unbalanced tree
// can degenerate into a long chain.
template <class Node, class K, class Compare>
struct AvlTree
{
    static int heightOf(const Node* node)
    {
        return node ? 1 + (node->iLeftHeight > node->iRightHeight ? node->iLeftHeight : node->iRightHeight) : 0;
    }

    static void updateHeights(Node* node)
    {
        node->iLeftHeight = heightOf(node->pLeft);
        node->iRightHeight = heightOf(node->pRight);
        node->iBalance = node->iLeftHeight - node->iRightHeight;
    }

    static Node* first(Node* node)
    {
        if (node)
            while (node->pLeft)
                node = node->pLeft;
        return node;
    }

    static Node* last(Node* node)
    {
        if (node)
            while (node->pRight)
                node = node->pRight;
        return node;
    }

    static Node* next(Node* node)
    {
        if (node->pRight)
            return first(node->pRight);
        Node* parent = node->pParent;
        while (parent && node == parent->pRight) {
            node = parent;
            parent = parent->pParent;
        }
        return parent;
    }

    static Node* prev(Node* node)
    {
        if (node->pLeft)
            return last(node->pLeft);
        Node* parent = node->pParent;
        while (parent && node == parent->pLeft) {
            node = parent;
            parent = parent->pParent;
        }
        return parent;
    }

    static Node* find(Node* root, const K& key)
    {
        Compare compare;
        while (root) {
            int order = compare(key, root->key);
            if (order == 0)
                return root;
            root = order < 0 ? root->pLeft : root->pRight;
        }
        return nullptr;
    }

    // Finds where `key` belongs: returns the node holding an equal key, or
    // null with `parent` and `left` naming the free slot for a new leaf.
    static Node* findSlot(Node* root, const K& key, Node*& parent, bool& left)
    {
        Compare compare;
        parent = nullptr;
        left = false;
        while (root) {
            int order = compare(key, root->key);
            if (order == 0)
                return root;
            parent = root;
            left = order < 0;
            root = left ? root->pLeft : root->pRight;
        }
        return nullptr;
    }

    static void replaceChild(Node*& root, Node* parent, Node* oldChild, Node* newChild)
    {
        if (!parent)
            root = newChild;
        else if (parent->pLeft == oldChild)
            parent->pLeft = newChild;
        else
            parent->pRight = newChild;
        if (newChild)
            newChild->pParent = parent;
    }

    static Node* rotateRight(Node*& root, Node* node)
    {
        Node* pivot = node->pLeft;
        Node* parent = node->pParent;
        node->pLeft = pivot->pRight;
        if (node->pLeft)
            node->pLeft->pParent = node;
        pivot->pRight = node;
        replaceChild(root, parent, node, pivot);
        node->pParent = pivot;
        updateHeights(node);
        updateHeights(pivot);
        return pivot;
    }

    static Node* rotateLeft(Node*& root, Node* node)
    {
        Node* pivot = node->pRight;
        Node* parent = node->pParent;
        node->pRight = pivot->pLeft;
        if (node->pRight)
            node->pRight->pParent = node;
        pivot->pLeft = node;
        replaceChild(root, parent, node, pivot);
        node->pParent = pivot;
        updateHeights(node);
        updateHeights(pivot);
        return pivot;
    }

    // Walks from `node` up to the root refreshing heights and rotating any
    // node whose balance reached +2 or -2: a single rotation when its heavier
    // child leans the same way or is even, a double rotation otherwise. Stops
    // early once a subtree keeps its former height, since nothing above changes.
    static void rebalanceUp(Node*& root, Node* node)
    {
        while (node) {
            int oldHeight = heightOf(node);
            updateHeights(node);
            Node* top = node;
            if (node->iBalance > 1) {
                if (node->pLeft->iBalance < 0)
                    rotateLeft(root, node->pLeft);
                top = rotateRight(root, node);
            } else if (node->iBalance < -1) {
                if (node->pRight->iBalance > 0)
                    rotateRight(root, node->pRight);
                top = rotateLeft(root, node);
            }
            if (heightOf(top) == oldHeight)
                return;
            node = top->pParent;
        }
    }

    static void linkLeaf(Node*& root, Node* node, Node* parent, bool left, bool balancing)
    {
        node->pLeft = node->pRight = nullptr;
        node->iLeftHeight = node->iRightHeight = node->iBalance = 0;
        node->pParent = parent;
        if (!parent)
            root = node;
        else if (left)
            parent->pLeft = node;
        else
            parent->pRight = node;
        if (balancing)
            rebalanceUp(root, parent);
    }

    // Takes `node` out of the tree without destroying it.
    static void unlink(Node*& root, Node* node, bool balancing)
    {
        Node* start;
        if (node->pLeft && node->pRight) {
            // The in-order successor takes the node's place, heights included,
            // so that the walk up sees the former height of that position.
            Node* successor = first(node->pRight);
            if (successor->pParent == node) {
                start = successor;
            } else {
                start = successor->pParent;
                start->pLeft = successor->pRight;
                if (successor->pRight)
                    successor->pRight->pParent = start;
                successor->pRight = node->pRight;
                successor->pRight->pParent = successor;
            }
            successor->pLeft = node->pLeft;
            successor->pLeft->pParent = successor;
            successor->iLeftHeight = node->iLeftHeight;
            successor->iRightHeight = node->iRightHeight;
            successor->iBalance = node->iBalance;
            replaceChild(root, node->pParent, node, successor);
        } else {
            Node* child = node->pLeft ? node->pLeft : node->pRight;
            start = node->pParent;
            replaceChild(root, start, node, child);
        }
        node->pLeft = node->pRight = node->pParent = nullptr;
        if (balancing)
            rebalanceUp(root, start);
    }

    // Destroys every node bottom-up, calling `visit` on each first.
    template <class Visit>
    static void destroyAll(Node*& root, Visit visit)
    {
        Node* node = root;
        while (node) {
            if (node->pLeft) {
                node = node->pLeft;
            } else if (node->pRight) {
                node = node->pRight;
            } else {
                Node* parent = node->pParent;
                if (parent) {
                    if (parent->pLeft == node)
                        parent->pLeft = nullptr;
                    else
                        parent->pRight = nullptr;
                }
                visit(node);
                delete node;
                node = parent;
            }
        }
        root = nullptr;
    }

    // Array of the nodes in key order, from CMemory; null for an empty tree
    // or when the array cannot be allocated.
    static Node** buildIndex(Node* root, unsigned int count)
    {
        unsigned long long bytes = static_cast<unsigned long long>(count) * sizeof(Node*);
        if (count == 0 || bytes > UINT_MAX)
            return nullptr;
        Node** index = static_cast<Node**>(CMemory::malloc(static_cast<unsigned int>(bytes), 0));
        if (!index)
            return nullptr;
        unsigned int i = 0;
        for (Node* node = first(root); node && i < count; node = next(node))
            index[i++] = node;
        return index;
    }

    static void freeIndex(Node**& index)
    {
        if (index)
            CMemory::free(index);
        index = nullptr;
    }

    // Links the ordered nodes [lo, hi) into a perfectly balanced subtree with
    // correct heights; the recursion depth is the logarithm of the count.
    static Node* linkBalanced(Node** nodes, unsigned int lo, unsigned int hi, Node* parent)
    {
        if (lo >= hi)
            return nullptr;
        unsigned int mid = lo + (hi - lo) / 2;
        Node* node = nodes[mid];
        node->pParent = parent;
        node->pLeft = linkBalanced(nodes, lo, mid, node);
        node->pRight = linkBalanced(nodes, mid + 1, hi, node);
        updateHeights(node);
        return node;
    }

    // Verifies parent links, strict key order and the node count, and with
    // `balanced` also the stored heights and balance factors and |balance| <= 1.
    static bool check(const Node* root, unsigned int count, bool balanced)
    {
        if (root && root->pParent)
            return false;
        Compare compare;
        unsigned int seen = 0;
        const Node* previous = nullptr;
        for (Node* node = first(const_cast<Node*>(root)); node; node = next(node)) {
            if (++seen > count)
                return false;
            if ((node->pLeft && node->pLeft->pParent != node) || (node->pRight && node->pRight->pParent != node))
                return false;
            if (node != root && (!node->pParent || (node->pParent->pLeft != node && node->pParent->pRight != node)))
                return false;
            if (previous && compare(previous->key, node->key) >= 0)
                return false;
            if (balanced) {
                // Checking each node against its children's stored heights
                // proves, from the leaves up, that all stored heights are true.
                if (node->iLeftHeight != heightOf(node->pLeft) || node->iRightHeight != heightOf(node->pRight))
                    return false;
                if (node->iBalance != node->iLeftHeight - node->iRightHeight)
                    return false;
                if (node->iBalance > 1 || node->iBalance < -1)
                    return false;
            }
            previous = node;
        }
        return seen == count;
    }
};

} // namespace ContainerDetail

// Ordered map of values, kept as an AVL tree (or a plain search tree while
// balancing is switched off). Keys are unique under Compare; inserting an
// existing key is refused. Indexed access (getKeyAt, getValueAt, getAt) uses
// an index cache of the entries in ascending key order, built on demand and
// dropped by every insertion or removal. A cursor walks the entries in key
// order (moveFirst, moveNext, ..., getCurrent); insertions and removals reset it.
// Range-for yields the entries, whose fields `key` and `value` are public.
// Not synchronised: the owner serialises access.
template <class K, class V, class Compare = tagNumCompare<K>>
class CDataMap : public CObject
{
    TRELL_DECLARE_ALLOCATOR(u"CDataMap")

public:
    struct tagNode
    {
        TRELL_DECLARE_ALLOCATOR(u"CDataMap::tagNode")

        const K key;
        V value;
        tagNode* pLeft;
        tagNode* pRight;
        tagNode* pParent;
        int iLeftHeight;
        int iRightHeight;
        int iBalance;

        tagNode(const K& k, const V& v)
            : key(k), value(v), pLeft(nullptr), pRight(nullptr), pParent(nullptr),
              iLeftHeight(0), iRightHeight(0), iBalance(0) {}
    };

private:
    typedef ContainerDetail::AvlTree<tagNode, K, Compare> Tree;

public:
    template <class N>
    class tagIterator
    {
        TRELL_DECLARE_ALLOCATOR(u"CDataMap::tagIterator")

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

    explicit CDataMap(bool balancing = true) noexcept
        : CObject(), m_bBalancing(balancing), m_pRoot(nullptr), m_ppIndex(nullptr), m_uiCount(0), m_pCursor(nullptr) {}

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
            tagNode* copy = new tagNode(nodes[i]->key, nodes[i]->value);
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

    void swap(CDataMap& other) noexcept
    {
        std::swap(m_bBalancing, other.m_bBalancing);
        std::swap(m_pRoot, other.m_pRoot);
        std::swap(m_ppIndex, other.m_ppIndex);
        std::swap(m_uiCount, other.m_uiCount);
        std::swap(m_pCursor, other.m_pCursor);
    }

    void reset() override { clear(); }

    // Adds an entry; false when the key is already present (the old value
    // stays) or the node cannot be allocated.
    bool insert(const K& key, const V& value)
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

    // Stores `value` under `key`, replacing the value of an existing entry.
    bool set(const K& key, const V& value)
    {
        if (tagNode* node = Tree::find(m_pRoot, key)) {
            node->value = value;
            return true;
        }
        return insert(key, value);
    }

    bool remove(const K& key)
    {
        tagNode* node = Tree::find(m_pRoot, key);
        if (!node)
            return false;
        Tree::unlink(m_pRoot, node, m_bBalancing);
        delete node;
        structureChanged(-1);
        return true;
    }

    void clear()
    {
        Tree::destroyAll(m_pRoot, [](tagNode*) {});
        Tree::freeIndex(m_ppIndex);
        m_uiCount = 0;
        m_pCursor = nullptr;
    }

    // The value stored under `key`, or null.
    V* find(const K& key)
    {
        tagNode* node = Tree::find(m_pRoot, key);
        return node ? &node->value : nullptr;
    }
    const V* find(const K& key) const
    {
        const tagNode* node = Tree::find(m_pRoot, key);
        return node ? &node->value : nullptr;
    }
    tagNode* findNode(const K& key) { return Tree::find(m_pRoot, key); }
    const tagNode* findNode(const K& key) const { return Tree::find(m_pRoot, key); }
    bool contains(const K& key) const { return Tree::find(m_pRoot, key) != nullptr; }

    unsigned int getCount() const { return m_uiCount; }
    bool isEmpty() const { return m_uiCount == 0; }

    // The entry at `index` in ascending key order, or null past the end.
    tagNode* getAt(unsigned int index) { return nodeAt(index); }
    const tagNode* getAt(unsigned int index) const { return nodeAt(index); }

    // Key and value at `index`; the index must be below getCount().
    const K& getKeyAt(unsigned int index) const
    {
        assert(index < m_uiCount && "CDataMap index out of range");
        return nodeAt(index)->key;
    }
    V& getValueAt(unsigned int index)
    {
        assert(index < m_uiCount && "CDataMap index out of range");
        return nodeAt(index)->value;
    }
    const V& getValueAt(unsigned int index) const
    {
        assert(index < m_uiCount && "CDataMap index out of range");
        return nodeAt(index)->value;
    }

    // Entries with the smallest and the largest key, or null when empty.
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

    // Switching balancing back on relinks the entries into a balanced tree,
    // since heights are not kept while it is off. False when that needs
    // memory that is not available (the flag then stays off).
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

    // Consistency check for tests and debugging: parent links, ascending key
    // order and count, and while balancing the heights and balance factors.
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

    tagNode* nodeAt(unsigned int index) const
    {
        if (index >= m_uiCount)
            return nullptr;
        if (!m_ppIndex)
            m_ppIndex = Tree::buildIndex(m_pRoot, m_uiCount);
        if (m_ppIndex)
            return m_ppIndex[index];
        // Without memory for the cache, walk instead.
        tagNode* node = Tree::first(m_pRoot);
        while (index-- > 0)
            node = Tree::next(node);
        return node;
    }

    bool m_bBalancing;
    tagNode* m_pRoot;
    mutable tagNode** m_ppIndex;
    unsigned int m_uiCount;
    tagNode* m_pCursor;
};

} // namespace Trell
