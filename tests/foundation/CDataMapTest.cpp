#include <foundation/CCompare.h>
#include <foundation/CDataMap.h>
#include <foundation/CObjectMap.h>
#include <foundation/CSet.h>
#include <text/CString.h>

#include "foundation/ContainerTestTypes.h"

#include <gtest/gtest.h>

#include <functional>
#include <map>
#include <random>
#include <set>
#include <string>
#include <vector>

using namespace Trell;
using ContainerTest::CCountedObject;
using ContainerTest::CTracked;
using ContainerTest::CTrackedTest;

namespace {

template <class Map>
std::vector<int> keysOf(const Map& map)
{
    std::vector<int> keys;
    for (const auto& entry : map)
        keys.push_back(entry.key);
    return keys;
}

// Runs random inserts, removals and look-ups against std::map and checks,
// after every operation, the tree's own invariants (parents, order, count
// and, while balancing, heights and balance factors) and that the indexed
// view lists exactly the reference's entries in ascending order.
void runAgainstReference(bool balancing, unsigned int seed, int operations, int keyRange)
{
    CDataMap<int, int> map(balancing);
    std::map<int, int> reference;
    std::mt19937 random(seed);
    for (int op = 0; op < operations; ++op) {
        int key = static_cast<int>(random() % static_cast<unsigned int>(keyRange));
        switch (random() % 3) {
        case 0:
            ASSERT_EQ(map.insert(key, op), reference.emplace(key, op).second) << "insert " << key << " at " << op;
            break;
        case 1:
            ASSERT_EQ(map.remove(key), reference.erase(key) == 1) << "remove " << key << " at " << op;
            break;
        default: {
            auto found = reference.find(key);
            int* value = map.find(key);
            ASSERT_EQ(value != nullptr, found != reference.end()) << "find " << key << " at " << op;
            ASSERT_TRUE(!value || *value == found->second);
            ASSERT_EQ(map.contains(key), value != nullptr);
            break;
        }
        }
        ASSERT_TRUE(map.checkInvariants()) << "tree inconsistent after operation " << op;
        ASSERT_EQ(map.getCount(), reference.size());
        // One assertion per operation keeps this fast enough for sanitizer builds.
        unsigned int index = 0;
        for (const auto& entry : reference) {
            if (map.getKeyAt(index) != entry.first || map.getValueAt(index) != entry.second)
                break;
            ++index;
        }
        ASSERT_EQ(index, reference.size()) << "indexed view differs at " << index << " after operation " << op;
    }
}

} // namespace

TEST(CDataMap, MatchesStdMapUnderRandomOperationsWithAndWithoutBalancing)
{
    runAgainstReference(true, 20240611u, 100000, 300);
    runAgainstReference(false, 977u, 100000, 300);
}

TEST(CDataMap, BalancingFlagDecidesTheShape)
{
    CDataMap<int, int> balanced;
    CDataMap<int, int> plain(false);
    EXPECT_FALSE(plain.isBalancing());
    for (int i = 1; i <= 3; ++i) {
        balanced.insert(i, i);
        plain.insert(i, i);
    }
    // Ascending keys make a chain unless the tree rotates.
    EXPECT_EQ(balanced.findNode(2)->pParent, nullptr);
    EXPECT_EQ(plain.findNode(1)->pParent, nullptr);
    EXPECT_EQ(plain.findNode(3)->pParent, plain.findNode(2));
    for (int i = 4; i <= 500; ++i)
        plain.insert(i, i);
    ASSERT_TRUE(plain.setBalancing(true));
    EXPECT_TRUE(plain.checkInvariants()) << "switching balancing on must leave a valid AVL tree";
    for (int i = 501; i <= 600; ++i)
        plain.insert(i, i);
    for (int i = 600; i > 0; i -= 2)
        plain.remove(i);
    EXPECT_TRUE(plain.checkInvariants());
    EXPECT_EQ(plain.getCount(), 300u);
}

TEST(CDataMap, ExistingKeysIndexCursorAndIterationFollowKeyOrder)
{
    CDataMap<int, int> map;
    for (int key : {40, 10, 30, 20, 50})
        map.insert(key, key * 2);
    EXPECT_FALSE(map.insert(20, 0)) << "an existing key keeps its value";
    EXPECT_TRUE(map.set(50, 100)) << "set replaces on purpose";
    EXPECT_FALSE(map.remove(7));
    EXPECT_EQ(map.find(7), nullptr);
    EXPECT_EQ(keysOf(map), (std::vector<int>{10, 20, 30, 40, 50}));
    EXPECT_EQ(map.getValueAt(4), 100);
    EXPECT_EQ(map.getAt(5), nullptr);
    map.getValueAt(1) = 7;
    EXPECT_EQ(*map.find(20), 7);

    // The index cache must follow later changes.
    map.insert(25, 0);
    EXPECT_EQ(map.getKeyAt(2), 25);
    map.remove(10);
    EXPECT_EQ(map.getKeyAt(0), 20);

    std::vector<int> forwards, backwards;
    for (bool more = map.moveFirst(); more; more = map.moveNext())
        forwards.push_back(map.getCurrent()->key);
    for (bool more = map.moveLast(); more; more = map.movePrev())
        backwards.push_back(map.getCurrent()->key);
    EXPECT_EQ(forwards, (std::vector<int>{20, 25, 30, 40, 50}));
    EXPECT_EQ(backwards, (std::vector<int>{50, 40, 30, 25, 20}));

    map.moveFirst();
    map.insert(60, 0);
    EXPECT_EQ(map.getCurrent(), nullptr) << "an insertion resets the cursor";
}

TEST_F(CTrackedTest, DataMapCopiesAreDeepAndElementsDieExactlyOnce)
{
    CDataMap<CTracked, CTracked> map(false);
    for (int i = 0; i < 50; ++i)
        map.insert(CTracked(i), CTracked(i * 10));
    EXPECT_FALSE(map.insert(CTracked(3), CTracked(0)));
    for (int i = 0; i < 50; i += 3)
        map.remove(CTracked(i));
    EXPECT_EQ(CTracked::s_iLive, 66);
    map.set(CTracked(1), CTracked(-1));
    EXPECT_EQ(map.find(CTracked(1))->value(), -1);
    {
        CDataMap<CTracked, CTracked> copy(map);
        EXPECT_FALSE(copy.isBalancing());
        EXPECT_TRUE(copy.checkInvariants());
        copy.remove(CTracked(1));
        *copy.find(CTracked(2)) = CTracked(-2);
        EXPECT_EQ(map.find(CTracked(2))->value(), 20);
        CDataMap<CTracked, CTracked> assigned;
        assigned.insert(CTracked(1000), CTracked(1));
        assigned = map;
        EXPECT_TRUE(assigned.isBalancing()) << "assignment keeps the target's flag";
        EXPECT_TRUE(assigned.checkInvariants());
        EXPECT_EQ(CTracked::s_iLive, 3 * 66 - 2);
        CDataMap<CTracked, CTracked> moved(std::move(assigned));
        EXPECT_TRUE(assigned.isEmpty());
        EXPECT_EQ(moved.getCount(), 33u);
    }
    map.clear();
    EXPECT_EQ(CTracked::s_iLive, 0);
    map.insert(CTracked(1), CTracked(2));
}

TEST(CompareRecords, CharPointersCompareByIdentity)
{
    char first[] = "abc";
    char second[] = "abc";
    CDataMap<const char*, int, tagCharPtrCompare> map;
    EXPECT_TRUE(map.insert(first, 1));
    EXPECT_TRUE(map.insert(second, 2)) << "same text in another buffer is another key";
    EXPECT_FALSE(map.insert(first, 3));
    EXPECT_EQ(map.getCount(), 2u);
    EXPECT_EQ(*map.find(second), 2);
    const char* low = std::less<const char*>()(first, second) ? first : second;
    EXPECT_EQ(map.getKeyAt(0), low) << "ordered by address";
}

TEST(CompareRecords, StringRecordsOrderAsTheirRulesSay)
{
    tagStringCompare exact;
    tagStringCompareIC folded;
    tagStringReverseCompare reverse;
    tagStringReverseCompareIC reverseFolded;
    EXPECT_LT(exact(CString(u"ABC"), CString(u"abc")), 0);
    EXPECT_GT(exact(CString(u"abc"), CString(u"ab")), 0);
    EXPECT_GT(exact(CString(u"\xE9"), CString(u"z")), 0) << "code units compare unsigned";
    EXPECT_EQ(folded(CString(u"ABC"), CString(u"abc")), 0);
    EXPECT_NE(folded(CString(u"\xC9"), CString(u"\xE9")), 0) << "only ASCII letters fold";
    EXPECT_GT(reverse(CString(u"ba"), CString(u"a")), 0);
    EXPECT_LT(reverse(CString(u"zb"), CString(u"ac")), 0) << "the last characters decide first";
    EXPECT_EQ(reverseFolded(CString(u"xAB"), CString(u"xab")), 0);
    tagNumCompare<double> numbers;
    EXPECT_LT(numbers(1.5, 2.0), 0);
    EXPECT_EQ(numbers(2.0, 2.0), 0);
    EXPECT_GT(numbers(-1.0, -2.0), 0);

    CSet<CString, tagStringCompareIC> names;
    EXPECT_TRUE(names.add(CString(u"Beta")));
    EXPECT_TRUE(names.add(CString(u"alpha")));
    EXPECT_FALSE(names.add(CString(u"ALPHA")));
    EXPECT_TRUE(names.contains(CString(u"BETA")));
    EXPECT_TRUE(names.getAt(0) == u"alpha");
    CDataMap<CString, int, tagStringReverseCompare> bySuffix;
    for (const char16_t* word : {u"cat", u"dog", u"bat", u"log"})
        bySuffix.insert(CString(word), 0);
    std::u16string order;
    for (const auto& entry : bySuffix)
        order += std::u16string(entry.key.buffer()) + u" ";
    EXPECT_EQ(order, u"dog log bat cat "); // reversed: "god" < "gol" < "tab" < "tac"
}

TEST(CObjectMap, OwningMapDeletesOnRemoveClearAndDestruction)
{
    CCountedObject::s_iLive = 0;
    {
        CObjectMap<int, CCountedObject> map(true);
        for (int i = 0; i < 10; ++i)
            ASSERT_TRUE(map.insert(i, new CCountedObject(i)));
        CCountedObject* shared = map.find(4);
        ASSERT_NE(shared, nullptr);
        shared->addRef();
        EXPECT_TRUE(map.remove(4)) << "deleted whatever its reference count";
        EXPECT_EQ(CCountedObject::s_iLive, 9);

        CCountedObject* taken = map.take(5);
        ASSERT_NE(taken, nullptr);
        EXPECT_EQ(taken->id(), 5);
        EXPECT_EQ(CCountedObject::s_iLive, 9) << "taking hands the object out alive";
        delete taken;

        // A refused insert leaves the offered object with the caller.
        CCountedObject offered(99);
        EXPECT_FALSE(map.insert(1, &offered));
        EXPECT_EQ(map.find(1)->id(), 1);

        EXPECT_EQ(map.getValueAt(8), nullptr);
        EXPECT_EQ(keysOf(map), (std::vector<int>{0, 1, 2, 3, 6, 7, 8, 9}));

        CCountedObject* three = map.find(3);
        map.setOwning(false);
        EXPECT_TRUE(map.remove(3));
        EXPECT_EQ(CCountedObject::s_iLive, 9) << "a map that does not own leaves the object";
        delete three;
        map.setOwning(true);
        map.clear();
        EXPECT_EQ(CCountedObject::s_iLive, 1) << "only the offered object is left";
        map.insert(1, new CCountedObject(1));
    }
    EXPECT_EQ(CCountedObject::s_iLive, 0);
}

// The batch insertion: into an empty map the nodes form one balanced tree at
// once; into a filled one each goes in like insert(), and a node whose key is
// already present dies together with its object.
TEST(CObjectMap, AdoptSortedBuildsBalancedTreesAndDropsPresentKeys)
{
    typedef CObjectMap<int, CCountedObject> Map;
    CCountedObject::s_iLive = 0;
    for (unsigned int count : {0u, 1u, 2u, 3u, 7u, 8u, 100u}) {
        Map map(true);
        std::vector<Map::tagNode*> nodes;
        for (unsigned int i = 0; i < count; ++i)
            nodes.push_back(new Map::tagNode(int(i) * 2, new CCountedObject(int(i))));
        EXPECT_EQ(map.adoptSorted(nodes.data(), count), count);
        EXPECT_EQ(map.getCount(), count);
        EXPECT_TRUE(map.checkInvariants()) << count << " nodes";
        if (count > 0) {
            EXPECT_EQ(map.getKeyAt(count - 1), int(count - 1) * 2) << "the index cache sees the batch";
            EXPECT_EQ(map.find(int(count - 1) * 2)->id(), int(count - 1));
        }
        // A second batch meets the first: odd keys are new, even ones present.
        std::vector<Map::tagNode*> more;
        for (int key : {-1, 0, 3, 4, 1001})
            more.push_back(new Map::tagNode(key, new CCountedObject(1000 + key)));
        const unsigned int present = (count >= 1 ? 1u : 0u) + (count >= 3 ? 1u : 0u);
        EXPECT_EQ(map.adoptSorted(more.data(), 5), 5 - present);
        EXPECT_TRUE(map.checkInvariants());
        EXPECT_EQ(map.find(0)->id(), count > 0 ? 0 : 1000) << "the entry already present stays";
        EXPECT_EQ(CCountedObject::s_iLive, int(map.getCount())) << "refused nodes took their objects along";
        map.clear();
        EXPECT_EQ(CCountedObject::s_iLive, 0);
    }
}

TEST(CSet, KeepsUniqueValuesInOrder)
{
    CSet<int> set;
    std::set<int> reference;
    std::mt19937 random(5);
    for (int op = 0; op < 5000; ++op) {
        int value = static_cast<int>(random() % 200);
        if (random() % 3)
            ASSERT_EQ(set.add(value), reference.insert(value).second);
        else
            ASSERT_EQ(set.remove(value), reference.erase(value) == 1);
        ASSERT_TRUE(set.checkInvariants());
    }
    ASSERT_EQ(set.getCount(), reference.size());
    std::vector<int> values, indexed;
    for (int value : set)
        values.push_back(value);
    for (unsigned int i = 0; i < set.getCount(); ++i)
        indexed.push_back(set.getAt(i));
    EXPECT_EQ(values, std::vector<int>(reference.begin(), reference.end()));
    EXPECT_EQ(indexed, values);
    for (int value = 0; value < 200; ++value)
        ASSERT_EQ(set.contains(value), reference.count(value) == 1);

    CSet<int> copy(set);
    copy.add(1000);
    EXPECT_FALSE(set.contains(1000));
    EXPECT_TRUE(copy.checkInvariants());
}

