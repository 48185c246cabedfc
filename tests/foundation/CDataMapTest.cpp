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
using namespace ContainerTest;

namespace {

template <class Map>
std::vector<int> keysOf(const Map& map)
{
    std::vector<int> keys;
    for (const auto& entry : map)
        keys.push_back(entry.key);
    return keys;
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

TEST(CDataMap, MatchesStdMapUnderRandomOperationsWithAndWithoutBalancing)
{
    runAgainstReference(true, 20240611u);
    runAgainstReference(false, 977u);
}

TEST(CDataMap, BalancingFlagDecidesTheShape)
{
    CDataMap<int, int> balanced, plain(false);
    EXPECT_FALSE(plain.isBalancing());
    for (int i = 1; i <= 3; ++i)
        balanced.insert(i, i), plain.insert(i, i);
    // Ascending keys make a chain unless the tree rotates.
    EXPECT_TRUE(balanced.findNode(2)->pParent == nullptr && plain.findNode(1)->pParent == nullptr &&
                plain.findNode(3)->pParent == plain.findNode(2));
    for (int i = 4; i <= 500; ++i)
        plain.insert(i, i);
    ASSERT_TRUE(plain.setBalancing(true));
    EXPECT_TRUE(plain.checkInvariants()) << "switching balancing on must leave a valid AVL tree";
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
    EXPECT_TRUE(names.contains(CString(u"BETA")) && names.getAt(0) == u"alpha");
    CDataMap<CString, int, tagStringReverseCompare> bySuffix;
    for (const char16_t* word : {u"cat", u"dog", u"bat", u"log"})
        bySuffix.insert(CString(word), 0);
    std::u16string order;
    for (const auto& entry : bySuffix)
        order += std::u16string(entry.key.buffer()) + u" ";
    EXPECT_EQ(order, u"dog log bat cat "); // reversed: "god" < "gol" < "tab" < "tac"
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
        EXPECT_EQ(keysOf(map), (std::vector<int>{0, 1, 2, 3, 6, 7, 8, 9}));
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

TEST(CSet, KeepsUniqueValuesInOrder)
{
    CSet<int> set;
    std::set<int> reference;
    std::mt19937 random(5);
    for (int op = 0; op < 5000; ++op) {
        const int value = int(random() % 200);
        if (random() % 3)
            ASSERT_EQ(set.add(value), reference.insert(value).second);
        else
            ASSERT_EQ(set.remove(value), reference.erase(value) == 1);
        ASSERT_TRUE(set.checkInvariants());
    }
    std::vector<int> values;
    for (unsigned int i = 0; i < set.getCount(); ++i)
        values.push_back(set.getAt(i));
    EXPECT_EQ(values, std::vector<int>(reference.begin(), reference.end()));
}
