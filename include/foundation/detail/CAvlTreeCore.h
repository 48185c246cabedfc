#pragma once

#include <foundation/CMemory.h>

#include <climits>
#include <cstddef>
#include <iterator>
#include <type_traits>
#include <utility>

namespace Trell {

namespace ContainerDetail {

// The links and balance data of a tree node, after the node's payload (its
// `key`, then any value), so that every node lays out as key, value, links.
// `Node` is the container's own node type deriving from this (allocated under
// its own name); the links point at whole nodes. The balance is the left
// height minus the right height; an empty subtree has height 0.
template <class Payload, class Node>
struct tagAvlNode : public Payload
{
    TRELL_DECLARE_ALLOCATOR(u"tagAvlNode")

    typedef tagAvlNode tagLinks;

    Node* pLeft = nullptr;
    Node* pRight = nullptr;
    Node* pParent = nullptr;
    int iLeftHeight = 0;
    int iRightHeight = 0;
    int iBalance = 0;

    template <class... A>
    explicit tagAvlNode(A&&... payloadArgs) : Payload(std::forward<A>(payloadArgs)...)
    {}
};

// The AVL tree behind CDataMap, CObjectMap and CSet, with the per-container
// state they share: root, index cache, count and cursor, in that order. Each
// container's node type derives from tagAvlNode. Heights are only maintained
// while balancing is on. Every walk is
// iterative or bounded by the height of a balanced tree, because an
// unbalanced tree can degenerate into a long chain. Nodes are made by the
// container (through the callbacks of insert and copyFrom) and freed here
// only by clear and by a copy that runs out of memory; the container decides
// what a node holds and what dies with it.
template <class Node, class K, class Compare>
struct CAvlTreeCore
{
    TRELL_DECLARE_ALLOCATOR(u"CAvlTreeCore")

    Node* pRoot;
    // Nodes in key order, built on demand and dropped by every insertion or removal.
    mutable Node** ppIndex;
    unsigned int uiCount;
    Node* pCursor;

    typedef typename Node::tagLinks Links;

    CAvlTreeCore() noexcept : pRoot(nullptr), ppIndex(nullptr), uiCount(0), pCursor(nullptr) {}
    CAvlTreeCore(const CAvlTreeCore&) = delete;
    CAvlTreeCore& operator=(const CAvlTreeCore&) = delete;

    // ---- Tree algorithms on bare nodes ----

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

    // The end of the chain of `Link` children from `node`: the leftmost node
    // of its subtree for pLeft, the rightmost for pRight.
    template <Node* Links::*Link>
    static Node* extreme(Node* node)
    {
        if (node)
            while (node->*Link)
                node = node->*Link;
        return node;
    }

    static Node* first(Node* node) { return extreme<&Node::pLeft>(node); }
    static Node* last(Node* node) { return extreme<&Node::pRight>(node); }

    // In-order neighbour on the `Toward` side (pRight: successor, pLeft:
    // predecessor): the nearest node of that child's subtree, or else the
    // first ancestor reached from its other side.
    template <Node* Links::*Toward, Node* Links::*Away>
    static Node* neighbour(Node* node)
    {
        if (node->*Toward)
            return extreme<Away>(node->*Toward);
        Node* parent = node->pParent;
        while (parent && node == parent->*Toward) {
            node = parent;
            parent = parent->pParent;
        }
        return parent;
    }

    static Node* next(Node* node) { return neighbour<&Node::pRight, &Node::pLeft>(node); }
    static Node* prev(Node* node) { return neighbour<&Node::pLeft, &Node::pRight>(node); }

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

    // Lifts `node`'s child on the `Near` side into its place; `node` takes
    // that child's `Far` subtree as its new `Near` child. Near = pLeft turns
    // right, Near = pRight turns left. Returns the lifted child.
    template <Node* Links::*Near, Node* Links::*Far>
    static Node* rotate(Node*& root, Node* node)
    {
        Node* pivot = node->*Near;
        Node* parent = node->pParent;
        node->*Near = pivot->*Far;
        if (node->*Near)
            (node->*Near)->pParent = node;
        pivot->*Far = node;
        replaceChild(root, parent, node, pivot);
        node->pParent = pivot;
        updateHeights(node);
        updateHeights(pivot);
        return pivot;
    }

    static Node* rotateRight(Node*& root, Node* node) { return rotate<&Node::pLeft, &Node::pRight>(root, node); }
    static Node* rotateLeft(Node*& root, Node* node) { return rotate<&Node::pRight, &Node::pLeft>(root, node); }

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

    static void prefetch(const Node* node)
    {
#if defined(__GNUC__) || defined(__clang__)
        __builtin_prefetch(node);
#else
        (void)node;
#endif
    }

    // Destroys every node bottom-up, calling `visit` on each first.
    template <class Visit>
    static void destroyAll(Node*& root, Visit visit)
    {
        Node* node = root;
        while (node) {
            if (node->pLeft) {
                // The right subtree comes next after the left one: start
                // loading it now, as large trees rarely sit in the caches.
                if (node->pRight)
                    prefetch(node->pRight);
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

    // ---- Operations on this tree's state ----

    Node* findNode(const K& key) const
    {
        return find(pRoot, key);
    }

    // Links the node made by `make()` as a leaf; null (and `make` not called,
    // or its null passed on) when the key is present, the count is full or
    // the allocation fails.
    template <class Make>
    Node* insert(const K& key, bool balancing, Make make)
    {
        Node* parent;
        bool left;
        if (findSlot(pRoot, key, parent, left) || uiCount == UINT_MAX)
            return nullptr;
        Node* node = make();
        if (!node)
            return nullptr;
        linkLeaf(pRoot, node, parent, left, balancing);
        structureChanged(1);
        return node;
    }

    // Takes `node` out; the caller frees it.
    void erase(Node* node, bool balancing)
    {
        unlink(pRoot, node, balancing);
        structureChanged(-1);
    }

    // Empties the tree first and then destroys the detached nodes, so that
    // whatever `visit` destroys sees a consistent, empty container.
    template <class Visit>
    void clear(Visit visit)
    {
        freeIndex(ppIndex);
        uiCount = 0;
        pCursor = nullptr;
        Node* root = pRoot;
        pRoot = nullptr;
        destroyAll(root, visit);
    }

    // Replaces the content by the nodes `copy(node)` makes of `other`'s, in
    // one balanced tree; false (and this tree unchanged) when memory runs out.
    // Only for containers whose nodes own nothing beyond themselves.
    template <class Copy>
    bool copyFrom(const CAvlTreeCore& other, Copy copy)
    {
        if (this == &other)
            return true;
        if (other.uiCount == 0) {
            clear([](Node*) {});
            return true;
        }
        Node** nodes = buildIndex(other.pRoot, other.uiCount);
        if (!nodes)
            return false;
        for (unsigned int i = 0; i < other.uiCount; ++i) {
            Node* made = copy(static_cast<const Node*>(nodes[i]));
            if (!made) {
                while (i-- > 0)
                    delete nodes[i];
                freeIndex(nodes);
                return false;
            }
            nodes[i] = made;
        }
        clear([](Node*) {});
        pRoot = linkBalanced(nodes, 0, other.uiCount, nullptr);
        uiCount = other.uiCount;
        freeIndex(nodes);
        return true;
    }

    // Links `count` free nodes, whose keys are strictly ascending, into this
    // empty tree as one balanced tree: the batch form of `count` insertions
    // that needs neither searches nor rotations. False (nothing linked) when
    // the tree is not empty.
    bool adoptSorted(Node* const* nodes, unsigned int count)
    {
        if (uiCount != 0)
            return false;
        if (count == 0)
            return true;
        pRoot = linkBalanced(const_cast<Node**>(nodes), 0, count, nullptr);
        structureChanged(int(count));
        return true;
    }

    // Relinks the entries into a balanced tree with true heights, as needed
    // when balancing is switched back on; false when that memory is missing.
    bool relinkBalanced()
    {
        if (uiCount == 0)
            return true;
        Node** nodes = buildIndex(pRoot, uiCount);
        if (!nodes)
            return false;
        pRoot = linkBalanced(nodes, 0, uiCount, nullptr);
        freeIndex(nodes);
        return true;
    }

    void swap(CAvlTreeCore& other) noexcept
    {
        std::swap(pRoot, other.pRoot);
        std::swap(ppIndex, other.ppIndex);
        std::swap(uiCount, other.uiCount);
        std::swap(pCursor, other.pCursor);
    }

    // The node at `index` in key order, or null past the end.
    Node* nodeAt(unsigned int index) const
    {
        if (index >= uiCount)
            return nullptr;
        if (!ppIndex)
            ppIndex = buildIndex(pRoot, uiCount);
        if (ppIndex)
            return ppIndex[index];
        // Without memory for the cache, walk instead.
        Node* node = first(pRoot);
        while (index-- > 0)
            node = next(node);
        return node;
    }

    // Cursor moves; each reports whether the cursor stands on a node.
    bool moveFirst()
    {
        pCursor = first(pRoot);
        return pCursor != nullptr;
    }
    bool moveLast()
    {
        pCursor = last(pRoot);
        return pCursor != nullptr;
    }
    bool moveNext()
    {
        if (pCursor)
            pCursor = next(pCursor);
        return pCursor != nullptr;
    }
    bool movePrev()
    {
        if (pCursor)
            pCursor = prev(pCursor);
        return pCursor != nullptr;
    }

    bool checkInvariants(bool balanced) const
    {
        return check(pRoot, uiCount, balanced);
    }

private:
    // Every insertion or removal resets the cursor and drops the index cache.
    void structureChanged(int delta)
    {
        uiCount += delta;
        pCursor = nullptr;
        freeIndex(ppIndex);
    }
};

// Forward iterator over the nodes of a CAvlTreeCore in key order; N is the
// node type, const-qualified for a const walk.
template <class Tree, class N>
class CAvlTreeIterator
{
    TRELL_DECLARE_ALLOCATOR(u"CAvlTreeIterator")

public:
    typedef std::forward_iterator_tag iterator_category;
    typedef std::remove_const_t<N> value_type;
    typedef std::ptrdiff_t difference_type;
    typedef N* pointer;
    typedef N& reference;
    explicit CAvlTreeIterator(N* node = nullptr) : m_pNode(node) {}
    N& operator*() const { return *m_pNode; }
    N* operator->() const { return m_pNode; }
    CAvlTreeIterator& operator++()
    {
        m_pNode = Tree::next(const_cast<value_type*>(m_pNode));
        return *this;
    }
    bool operator==(const CAvlTreeIterator& other) const { return m_pNode == other.m_pNode; }
    bool operator!=(const CAvlTreeIterator& other) const { return m_pNode != other.m_pNode; }

private:
    N* m_pNode;
};

// The public surface the two ordered maps share, written once. `Map` (the
// derived map, CRTP) provides `tagNode`, `iterator`, `const_iterator`,
// `m_bBalancing` and `m_tree` (a CAvlTreeCore), and befriends this class.
// Return types are deduced because `Map` is incomplete where this base is
// named; they are the map's `tagNode*` and iterators.
template <class Map, class K>
class CAvlMapSurface
{
    TRELL_DECLARE_ALLOCATOR(u"CAvlMapSurface")

public:
    // The entry stored under `key`, or null.
    auto* findNode(const K& key) { return tree().findNode(key); }
    const auto* findNode(const K& key) const { return tree().findNode(key); }
    bool contains(const K& key) const { return tree().findNode(key) != nullptr; }

    unsigned int getCount() const { return tree().uiCount; }
    bool isEmpty() const { return tree().uiCount == 0; }

    // The entry at `index` in ascending key order, or null past the end.
    auto* getAt(unsigned int index) { return tree().nodeAt(index); }
    const auto* getAt(unsigned int index) const { return tree().nodeAt(index); }

    // Entries with the smallest and the largest key, or null when empty.
    auto* getFirst() { return tree().first(tree().pRoot); }
    auto* getLast() { return tree().last(tree().pRoot); }

    // Cursor walk in key order; each move reports whether the cursor stands
    // on an entry. Insertions and removals reset the cursor.
    bool moveFirst() { return tree().moveFirst(); }
    bool moveLast() { return tree().moveLast(); }
    bool moveNext() { return tree().moveNext(); }
    bool movePrev() { return tree().movePrev(); }
    // The entry under the cursor, or null.
    auto* getCurrent() { return tree().pCursor; }

    bool isBalancing() const { return self().m_bBalancing; }

    // Switching balancing back on relinks the entries into a balanced tree,
    // since heights are not kept while it is off. False when that needs
    // memory that is not available (the flag then stays off).
    bool setBalancing(bool balancing)
    {
        if (balancing == self().m_bBalancing)
            return true;
        if (balancing && !tree().relinkBalanced())
            return false;
        self().m_bBalancing = balancing;
        return true;
    }

    // Consistency check for tests and debugging: parent links, ascending key
    // order and count, and while balancing the heights and balance factors.
    bool checkInvariants() const { return tree().checkInvariants(self().m_bBalancing); }

    auto begin() { return typename Map::iterator(getFirst()); }
    auto end() { return typename Map::iterator(); }
    auto begin() const { return typename Map::const_iterator(tree().first(tree().pRoot)); }
    auto end() const { return typename Map::const_iterator(); }

private:
    Map& self() { return static_cast<Map&>(*this); }
    const Map& self() const { return static_cast<const Map&>(*this); }
    auto& tree() { return self().m_tree; }
    const auto& tree() const { return self().m_tree; }
};

} // namespace ContainerDetail

} // namespace Trell
