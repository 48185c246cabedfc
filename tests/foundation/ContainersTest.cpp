#include <foundation/Containers.h>

#include <foundation/CMemory.h>
#include <foundation/CObject.h>
#include <text/CString.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <functional>
#include <iterator>
#include <list>
#include <map>
#include <random>
#include <set>
#include <string>
#include <type_traits>
#include <vector>

using namespace Trell;

// Element and object types that count their lifetimes, so container tests
// can prove that nothing leaks, dies twice or is used after it died.

namespace {

// A value with a non-trivial copy, move and destructor. A stamp marks live
// instances; touching a dead or never-constructed one fails the test.
class CTracked
{
    TRELL_DECLARE_ALLOCATOR(u"CTracked")

public:
    static inline int s_iLive = 0;

    CTracked(int value = 0) : m_iValue(value) { ++s_iLive; }
    CTracked(const CTracked& other) : m_iValue(other.value()) { ++s_iLive; }
    CTracked(CTracked&& other) noexcept : m_iValue(other.value())
    {
        other.m_iValue = -1;
        ++s_iLive;
    }
    CTracked& operator=(const CTracked& other)
    {
        check();
        m_iValue = other.value();
        return *this;
    }
    ~CTracked()
    {
        check();
        m_uiStamp = 0xDEADu;
        --s_iLive;
    }
    int value() const
    {
        check();
        return m_iValue;
    }
    bool operator==(const CTracked& other) const { return value() == other.value(); }
    bool operator<(const CTracked& other) const { return value() < other.value(); }

private:
    void check() const { EXPECT_EQ(m_uiStamp, 0xA11FE5u) << "use of a destroyed or unconstructed element"; }

    int m_iValue;
    unsigned int m_uiStamp = 0xA11FE5u;
};

// A library object that reports its destruction.
class CCountedObject : public Trell::CObject
{
    TRELL_DECLARE_ALLOCATOR(u"CCountedObject")

public:
    static inline int s_iLive = 0;

    explicit CCountedObject(int id = 0) : m_iId(id) { ++s_iLive; }
    ~CCountedObject() override { --s_iLive; }
    int id() const { return m_iId; }

private:
    int m_iId;
};

// Every test on this fixture ends with no tracked element and no counted object alive.
class CTrackedTest : public ::testing::Test
{
protected:
    void SetUp() override { CTracked::s_iLive = CCountedObject::s_iLive = 0; }
    void TearDown() override
    {
        EXPECT_EQ(CTracked::s_iLive, 0) << "elements leaked or destroyed twice";
        EXPECT_EQ(CCountedObject::s_iLive, 0);
    }
};

// What a container yields in iteration: the values of elements, the ids of objects.
template <class TContainer>
std::vector<int> valuesOf(const TContainer& container)
{
    std::vector<int> values;
    for (const auto& element : container) {
        if constexpr (std::is_pointer_v<std::decay_t<decltype(element)>>)
            values.push_back(element->id());
        else
            values.push_back(element.value());
    }
    return values;
}

// Random insertions, removals, searches and indexed reads on a sequence
// container against its std:: counterpart; `more` adds operations of the
// container's own. Copies must then be deep and a move must empty its source.
template <class TContainer, class TReference, class TMore>
void matchSequence(TContainer& container, TReference& reference, unsigned int seed, TMore more)
{
    std::mt19937 random(seed);
    for (int step = 0; step < 4000; ++step) {
        const unsigned int count = container.getCount();
        const unsigned int index = random() % (count + 2); // sometimes out of range
        const int value = int(random() % 50);
        const auto found = std::find(reference.begin(), reference.end(), value);
        const auto at = std::next(reference.begin(), std::min(index, count));
        switch (random() % 6) {
        case 0:
        case 1:
            ASSERT_EQ(container.insertAt(index, CTracked(value)), index <= count);
            if (index <= count)
                reference.insert(at, value);
            break;
        case 2:
            ASSERT_EQ(container.removeAt(index), index < count);
            if (index < count)
                reference.erase(at);
            break;
        case 3:
            ASSERT_EQ(container.indexOf(CTracked(value)),
                      found == reference.end() ? -1 : int(std::distance(reference.begin(), found)));
            ASSERT_EQ(container.remove(CTracked(value)), found != reference.end());
            if (found != reference.end())
                reference.erase(found);
            break;
        case 4:
            ASSERT_TRUE(!count || container[index % count].value() == *std::next(reference.begin(), index % count));
            break;
        default: more(value, random() % 4);
        }
        ASSERT_EQ(container.getCount(), reference.size());
        ASSERT_EQ(CTracked::s_iLive, int(reference.size()));
    }
    EXPECT_EQ(valuesOf(container), std::vector<int>(reference.begin(), reference.end()));
    ASSERT_FALSE(reference.empty());
    TContainer copy(container);
    copy[0] = CTracked(-5);
    EXPECT_EQ(container[0].value(), reference.front()) << "copies are deep";
    copy = container;
    TContainer moved(std::move(copy));
    EXPECT_EQ(copy.getCount(), 0u);
    EXPECT_EQ(CTracked::s_iLive, 2 * int(reference.size()));
}

// Random inserts, replacements, removals and look-ups against std::map,
// checking after every operation the tree's own invariants (parents, order,
// count and, while balancing, heights) and the indexed view against the
// reference; at the end the cursor walks the keys both ways.
void runAgainstReference(bool balancing, unsigned int seed)
{
    CDataMap<int, int> map(balancing);
    std::map<int, int> reference;
    std::mt19937 random(seed);
    for (int op = 0; op < 100000; ++op) {
        const int key = int(random() % 300);
        const auto found = reference.find(key);
        switch (random() % 4) {
        case 0:
            ASSERT_EQ(map.insert(key, op), reference.emplace(key, op).second) << "insert " << key << " at " << op;
            break;
        case 3:
            ASSERT_TRUE(map.set(key, -op));
            reference[key] = -op;
            break;
        case 1: ASSERT_EQ(map.remove(key), reference.erase(key) == 1) << "remove " << key << " at " << op; break;
        default:
            ASSERT_EQ(map.find(key) ? *map.find(key) : -1, found == reference.end() ? -1 : found->second) << op;
            ASSERT_EQ(map.contains(key), found != reference.end());
        }
        ASSERT_TRUE(map.checkInvariants()) << "tree inconsistent after operation " << op;
        ASSERT_EQ(map.getCount(), reference.size());
        // One assertion per operation keeps this fast enough for sanitizer builds.
        unsigned int index = 0;
        for (auto entry = reference.begin();
             entry != reference.end() && map.getKeyAt(index) == entry->first && map.getValueAt(index) == entry->second;
             ++entry)
            ++index;
        ASSERT_EQ(index, reference.size()) << "indexed view differs at " << index << " after operation " << op;
    }
    EXPECT_EQ(map.getAt(map.getCount()), nullptr);
    std::vector<int> forwards, backwards, keys;
    for (bool more = map.moveFirst(); more; more = map.moveNext())
        forwards.push_back(map.getCurrent()->key);
    for (bool more = map.moveLast(); more; more = map.movePrev())
        backwards.insert(backwards.begin(), map.getCurrent()->key);
    for (const auto& entry : reference)
        keys.push_back(entry.first);
    EXPECT_EQ(std::make_pair(forwards, backwards), std::make_pair(keys, keys));
    map.insert(-1, 0);
    EXPECT_EQ(map.getCurrent(), nullptr) << "an insertion resets the cursor";
}

} // namespace

TEST(CDataArray, CapacityGrowsByHalfPlusOneAndCopiesAreFreshObjects)
{
    CDataArray<int> array;
    std::vector<unsigned int> capacities;
    for (int i = 0; i < 12; ++i) {
        array.add(i);
        capacities.push_back(array.getCapacity());
    }
    EXPECT_EQ(capacities, (std::vector<unsigned int>{1, 2, 4, 4, 7, 7, 7, 11, 11, 11, 11, 17}));
    // Removal and a smaller reserve never shrink; more bytes than one request
    // can carry are refused and leave the array unchanged.
    EXPECT_TRUE(array.removeAt(0) && array.reserve(50) && array.reserve(10) && !array.reserve(UINT_MAX));
    EXPECT_TRUE(array.getCapacity() == 50u && array.getCount() == 11u);

    array.addRef();
    CDataArray<int> copy(array);
    array = copy;
    EXPECT_EQ(std::make_tuple(copy.getRef(), array.getRef()), std::make_tuple(0, 1))
        << "a copy is a new object; assignment keeps the count";
    array.clear();
    array.add(1);
    EXPECT_EQ(array.getCapacity(), 1u) << "growth restarts after clear";
}

TEST_F(CTrackedTest, DataArrayMatchesStdVectorUnderRandomOperations)
{
    CDataArray<CTracked> array;
    std::vector<int> reference;
    matchSequence(array, reference, 11, [&](int value, unsigned int) {
        ASSERT_TRUE(array.add(CTracked(value)));
        reference.push_back(value);
    });
}

TEST_F(CTrackedTest, AddingAnOwnElementSurvivesGrowthAndShifting)
{
    CDataArray<CTracked> array;
    array.add(CTracked(7));
    // Count equals capacity: the add reallocates while reading from the old block.
    ASSERT_EQ(array.getCount(), array.getCapacity());
    EXPECT_TRUE(array.add(array[0]));
    array.reserve(10);
    // Room to spare: the insert shifts the very element it copies.
    EXPECT_TRUE(array.insertAt(0, array[1]) && array.insertAt(1, array[2]));
    // Moving an own element in: it arrives intact and its old slot keeps the moved-from value.
    array[3] = CTracked(8);
    EXPECT_TRUE(array.insertAt(0, std::move(array[3])));
    EXPECT_EQ(valuesOf(array), (std::vector<int>{8, 7, 7, 7, -1}));
}

TEST_F(CTrackedTest, OwningObjectArrayDeletesOnRemoveClearAndDestructionOthersNever)
{
    CCountedObject kept(1);
    {
        CObjectArray<CCountedObject> array(true);
        for (int i = 0; i < 5; ++i)
            array.add(new CCountedObject(i));
        array[1]->addRef();
        EXPECT_TRUE(array.removeAt(1) && array.remove(array[0])) << "deleted whatever its reference count";
        CCountedObject* taken = array.takeFirst();
        EXPECT_EQ(std::make_tuple(taken->id(), CCountedObject::s_iLive), std::make_tuple(2, 4))
            << "taking hands the object out alive";
        delete taken;
        CObjectArray<CCountedObject> borrowing;
        borrowing.add(&kept);
        EXPECT_TRUE(borrowing.removeAt(0));
        borrowing.add(&kept);
    }
    EXPECT_EQ(CCountedObject::s_iLive, 1);
}

TEST_F(CTrackedTest, ArrayPtrOwnsValueInitialisedStorageAndTransfersIt)
{
    CArrayPtr<unsigned char> bytes(16);
    EXPECT_EQ(std::count(bytes.begin(), bytes.end(), 0), 16);
    bytes[3] = 0xAB;
    CArrayPtr<unsigned char> moved(std::move(bytes));
    CArrayPtr<unsigned char> adopted(moved.release(), 16);
    EXPECT_TRUE(bytes.isNull() && moved.isNull() && adopted[3] == 0xAB);

    CArrayPtr<CTracked> items(4);
    items.reset(CArrayPtr<CTracked>::allocate(2), 2);
    items = CArrayPtr<CTracked>(3);
    CArrayPtr<CTracked>::deallocate(items.release(), 3);
    EXPECT_EQ(CTracked::s_iLive, 0);
    items.reset(CArrayPtr<CTracked>::allocate(5), 5);
}

// Indexed reads and removals walk from either end; a random mix checked
// against std::list exercises both halves, the links they leave and the
// lifetimes of the elements.
TEST_F(CTrackedTest, DataListMatchesStdListUnderRandomOperations)
{
    CDataList<CTracked> list;
    std::list<int> reference;
    matchSequence(list, reference, 7, [&](int value, unsigned int choice) {
        if (choice == 0) {
            list.addHead(CTracked(value));
            reference.push_front(value);
        } else if (choice == 1 && !reference.empty()) {
            ASSERT_EQ(list.takeFirst().value(), reference.front());
            reference.pop_front();
        } else if (choice == 2 && !reference.empty()) {
            ASSERT_EQ(list.takeLast().value(), reference.back());
            reference.pop_back();
        } else {
            list.add(CTracked(value));
            reference.push_back(value);
        }
    });
    std::vector<int> backwards;
    for (bool more = list.moveLast(); more; more = list.movePrev())
        backwards.push_back(list.getCurrent()->value());
    EXPECT_EQ(backwards, std::vector<int>(reference.rbegin(), reference.rend()));
}

TEST(CDataList, CursorStartsOnFirstElementAndSurvivesRemovals)
{
    CDataList<int> list;
    EXPECT_TRUE(list.getCurrent() == nullptr && !list.moveFirst());
    for (int v = 1; v <= 6; ++v)
        list.add(v);
    EXPECT_EQ(*list.getCurrent(), 1) << "the first node becomes the cursor, later appends leave it";
    for (bool more = list.moveFirst(); more;) // remove the even elements while walking
        more = *list.getCurrent() % 2 == 0 ? list.removeCurrent() : list.moveNext();
    EXPECT_TRUE(list.getCurrent() == nullptr && list.getCount() == 3u);
    list.moveFirst();
    list.moveNext();
    list.removeAt(1);
    EXPECT_EQ(*list.getCurrent(), 5) << "removing the cursor's node moves it on";
    list.clear();
    EXPECT_EQ(list.getCurrent(), nullptr);
}

TEST_F(CTrackedTest, OwningObjectListDestroysRemovedObjectsWhateverTheirCountAndTakingHandsThemOut)
{
    CCountedObject kept(100);
    {
        CObjectList<CCountedObject> list(true);
        for (int i = 0; i < 6; ++i)
            list.add(new CCountedObject(i));
        list[2]->addRef();
        EXPECT_TRUE(list.removeAt(2) && list.remove(list.getFirst()));
        std::vector<int> takenIds;
        for (CCountedObject* object : {list.takeFirst(), list.takeLast(), list.takeAt(1)}) {
            takenIds.push_back(object->id());
            delete object;
        }
        EXPECT_EQ(std::make_tuple(takenIds, valuesOf(list)),
                  std::make_tuple(std::vector<int>{1, 5, 4}, std::vector<int>{3}));
        list.setOwning(false);
        delete list.getFirst();
        list.addHead(&kept);
        EXPECT_TRUE(list.remove(&kept) && !list.remove(&kept)) << "a list that does not own leaves its objects";
        list.clear();
        list.setOwning(true);
        list.add(new CCountedObject(9)); // the destructor deletes what is left
    }
    EXPECT_EQ(CCountedObject::s_iLive, 1);
}

// Nodes made and freed apart from the list (so that an owner can keep the
// allocator out of its lock) link and unlink exactly like add and takeFirst.
TEST_F(CTrackedTest, DetachedNodesLinkAndUnlinkLikeAddAndTakeFirst)
{
    typedef CObjectList<CCountedObject> List;
    List list(true);
    EXPECT_TRUE(list.takeFirstNode() == nullptr && !list.addNode(nullptr));
    ASSERT_TRUE(list.addNode(List::makeNode(new CCountedObject(1))));
    list.add(new CCountedObject(2));
    // Taking the head node leaves its object alive even on an owning list,
    // and moves a cursor that stood on it.
    List::tagNode* node = list.takeFirstNode();
    EXPECT_EQ(std::make_tuple(node->pObject->id(), CCountedObject::s_iLive, list.getCurrent()->id(), list.getCount()),
              std::make_tuple(1, 2, 2, 1u));
    // The same node may join the list again, now at the tail, its back link rebuilt.
    ASSERT_TRUE(list.addNode(node));
    EXPECT_EQ(valuesOf(list), (std::vector<int>{2, 1}));
    EXPECT_TRUE(list.moveLast() && list.movePrev() && list.getCurrent()->id() == 2);
    while (List::tagNode* taken = list.takeFirstNode()) {
        delete taken->pObject;
        List::freeNode(taken);
    }
    EXPECT_EQ(list.getLast(), nullptr);
}

// The balancing flag decides the shape: ascending keys make a chain unless
// the tree rotates, and switching balancing on leaves a valid AVL tree.
TEST(CDataMap, MatchesStdMapUnderRandomOperationsWithAndWithoutBalancing)
{
    runAgainstReference(true, 20240611u);
    runAgainstReference(false, 977u);
    CDataMap<int, int> balanced, plain(false);
    for (int i = 1; i <= 3; ++i)
        balanced.insert(i, i), plain.insert(i, i);
    EXPECT_TRUE(balanced.findNode(2)->pParent == nullptr && plain.findNode(1)->pParent == nullptr &&
                plain.findNode(3)->pParent == plain.findNode(2));
    for (int i = 4; i <= 500; ++i)
        plain.insert(i, i);
    ASSERT_TRUE(plain.setBalancing(true));
    EXPECT_TRUE(plain.checkInvariants());
}

TEST_F(CTrackedTest, DataMapCopiesAreDeepAndElementsDieExactlyOnce)
{
    CDataMap<CTracked, CTracked> map(false);
    for (int i = 0; i < 50; ++i)
        map.insert(CTracked(i), CTracked(i * 10));
    map.remove(CTracked(7));
    map.set(CTracked(1), CTracked(-1));
    {
        CDataMap<CTracked, CTracked> copy(map), assigned;
        *copy.find(CTracked(2)) = CTracked(-2);
        assigned.insert(CTracked(1000), CTracked(1));
        assigned = map;
        EXPECT_TRUE(!copy.isBalancing() && assigned.isBalancing() && assigned.checkInvariants() &&
                    map.find(CTracked(2))->value() == 20)
            << "copies are deep; a copy takes the flag, assignment keeps the target's";
        EXPECT_EQ(CTracked::s_iLive, 3 * 98);
        CDataMap<CTracked, CTracked> moved(std::move(assigned));
        EXPECT_TRUE(assigned.isEmpty() && moved.getCount() == 49u);
    }
    map.clear();
    EXPECT_EQ(CTracked::s_iLive, 0);
    map.insert(CTracked(1), CTracked(2));
}

// The comparison records, and a set under one of them.
TEST(CompareRecords, OrderAsTheirRulesSay)
{
    char first[] = "abc", second[] = "abc";
    CDataMap<const char*, int, tagCharPtrCompare> byAddress;
    EXPECT_TRUE(byAddress.insert(first, 1) && byAddress.insert(second, 2)) << "same text elsewhere, another key";
    EXPECT_EQ(byAddress.getKeyAt(0), std::less<const char*>()(first, second) ? first : second);

    const auto sign = [](int v) { return (v > 0) - (v < 0); };
    EXPECT_EQ((std::vector<int>{sign(tagStringCompare()(CString(u"ABC"), CString(u"abc"))),
                                sign(tagStringCompare()(CString(u"\xE9"), CString(u"z"))), // unsigned units
                                sign(tagStringCompareIC()(CString(u"ABC"), CString(u"abc"))),
                                sign(tagStringCompareIC()(CString(u"\xC9"), CString(u"\xE9"))), // ASCII folds only
                                sign(tagStringReverseCompare()(CString(u"zb"), CString(u"ac"))),
                                sign(tagStringReverseCompareIC()(CString(u"xAB"), CString(u"xab"))),
                                sign(tagNumCompare<double>()(1.5, 2.0)), sign(tagNumCompare<double>()(-1.0, -2.0))}),
              (std::vector<int>{-1, 1, 0, -1, -1, 0, -1, 1}));

    CSet<CString, tagStringCompareIC> names;
    EXPECT_TRUE(names.add(CString(u"Beta")) && names.add(CString(u"alpha")) && !names.add(CString(u"ALPHA")));
    EXPECT_TRUE(names.add(CString(u"gamma")) && names.remove(CString(u"BETA")) && !names.remove(CString(u"beta")));
    EXPECT_TRUE(!names.contains(CString(u"Beta")) && names.contains(CString(u"GAMMA")) && names.getAt(1) == u"gamma" &&
                names.checkInvariants());
}

TEST_F(CTrackedTest, OwningObjectMapDeletesOnRemoveClearAndDestruction)
{
    CCountedObject offered(99);
    {
        CObjectMap<int, CCountedObject> map(true);
        for (int i = 0; i < 10; ++i)
            map.insert(i, new CCountedObject(i));
        map.find(4)->addRef();
        CCountedObject* taken = map.take(5);
        // Removal deletes whatever the count; taking hands the object out alive.
        EXPECT_EQ(std::make_tuple(map.remove(4), taken->id(), CCountedObject::s_iLive), std::make_tuple(true, 5, 10));
        delete taken;
        // A refused insert leaves the offered object with the caller.
        EXPECT_TRUE(!map.insert(1, &offered) && map.find(1)->id() == 1 && map.getValueAt(8) == nullptr);
        map.setOwning(false);
        delete map.find(3);
        map.remove(3); // a map that does not own leaves the object
        map.setOwning(true);
        map.clear();
        EXPECT_EQ(CCountedObject::s_iLive, 1) << "only the offered object is left";
        map.insert(1, new CCountedObject(1));
    }
    EXPECT_EQ(CCountedObject::s_iLive, 1);
}

// The batch insertion: into an empty map the nodes form one balanced tree at
// once; into a filled one each goes in like insert(), and a node whose key is
// already present dies together with its object.
TEST_F(CTrackedTest, AdoptSortedBuildsBalancedTreesAndDropsPresentKeys)
{
    typedef CObjectMap<int, CCountedObject> Map;
    for (unsigned int count : {0u, 1u, 2u, 3u, 7u, 8u, 100u}) {
        Map map(true);
        std::vector<Map::tagNode*> nodes;
        for (unsigned int i = 0; i < count; ++i)
            nodes.push_back(new Map::tagNode(int(i) * 2, new CCountedObject(int(i))));
        EXPECT_EQ(map.adoptSorted(nodes.data(), count), count);
        EXPECT_TRUE(map.getCount() == count && map.checkInvariants()) << count << " nodes";
        EXPECT_TRUE(count == 0 || map.getKeyAt(count - 1) == int(count - 1) * 2) << "the index cache sees the batch";
        // A second batch meets the first: odd keys are new, even ones present.
        std::vector<Map::tagNode*> more;
        for (int key : {-1, 0, 3, 4, 1001})
            more.push_back(new Map::tagNode(key, new CCountedObject(1000 + key)));
        EXPECT_EQ(map.adoptSorted(more.data(), 5), 5 - (count >= 1 ? 1u : 0u) - (count >= 3 ? 1u : 0u));
        EXPECT_TRUE(map.checkInvariants());
        EXPECT_EQ(map.find(0)->id(), count > 0 ? 0 : 1000) << "the entry already present stays";
        EXPECT_EQ(CCountedObject::s_iLive, int(map.getCount())) << "refused nodes took their objects along";
    }
}
